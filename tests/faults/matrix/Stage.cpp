#include "tests/faults/matrix/Stage.h"

#include "tests/faults/matrix/Codes.h"
#include "tests/faults/matrix/LoginFrame.h"

#include <stdexcept>

namespace Faults {

using Conformance::Executor;
using Conformance::Result;

namespace {

/// Scripts log out until the token agrees. Where a story's token never would, it gives in at this call.
constexpr int kLogoutsUntilItGivesIn = 9;

/// The session that the operations after the request open.
constexpr CK_SESSION_HANDLE kNextSession = 0x51;
constexpr const char* kNextSessionText = "0x51";

void need(const Result& result, const char* what) {
    if (result.failure || result.value("ERROR") != "0") {
        throw std::logic_error(std::string("the stage could not be set: ") + what);
    }
}

void logIn(Executor& executor, const char* role, const char* pin) {
    need(executor.execute("authenticate", Params().plain("AUTH_TYPE", "STATIC").plain("PINID", role).hex("PIN", pin)),
         "authenticate");
}

std::string listText(const Calls& calls) {
    std::string text;
    for (const std::string& call : calls) {
        text += "\n      " + call;
    }
    return text.empty() ? " none" : text;
}

std::string listText(const std::vector<Output>& outputs) {
    Calls lines;
    for (const Output& output : outputs) {
        lines.push_back(output.id + " (" + std::to_string(output.encoding) + ", " + std::to_string(output.type) +
                        ") = " + output.value);
    }
    return listText(lines);
}

template <class T>
std::string compared(const char* what, const T& actual, const T& expected) {
    if (actual == expected) {
        return {};
    }
    if constexpr (std::is_same_v<T, std::string>) {
        return std::string("\n    ") + what + " is " + actual + ", expected " + expected;
    } else {
        return std::string("\n    ") + what + " are" + listText(actual) + "\n    expected" + listText(expected);
    }
}

std::string comparedResult(const char* what, const Result& result, const std::string& error,
                           const std::vector<Output>& outputs) {
    if (result.failure) {
        return std::string("\n    ") + what + " threw " + result.failure->type + ": " + result.failure->message;
    }
    std::vector<Output> expected = {{"ERROR", 2, 3, error}};
    expected.insert(expected.end(), outputs.begin(), outputs.end());
    return compared(what, result.outputs, expected);
}

std::string sessionText(const Fake::SessionState& session) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (CK_SESSION_HANDLE rest = session.handle; rest != 0; rest >>= 4) {
        text.insert(text.begin(), kDigits[rest & 0xF]);
    }
    return "0x" + text + ((session.flags & CKF_RW_SESSION) != 0 ? " rw" : " ro") +
           (session.searchActive ? " search" : "") + (session.signActive ? " sign" : "");
}

std::string ownSession(const Now& now) {
    return now.handle + (now.readWrite ? " rw" : " ro") + (now.searching ? " search" : "") +
           (now.signing ? " sign" : "");
}

std::string comparedModule(const Fake::Module& fake, const Now& now) {
    Calls expected;
    if (!now.orphan.empty()) {
        expected.push_back(now.orphan);
    }
    if (now.handle != "none") {
        expected.push_back(ownSession(now));
    }
    Calls actual;
    for (const Fake::SessionState& session : fake.sessions()) {
        actual.push_back(sessionText(session));
    }
    const std::optional<std::string> pin = fake.userPin();
    return compared("the module's sessions", actual, expected) +
           (fake.login() == now.role ? std::string() : "\n    another role is logged in than expected") +
           compared("the token's user PIN", pin ? Fake::hex(*pin) : std::string(), now.token);
}

/// What an operation that logs the user in and out again does when it finds things as they are.
struct Expected {
    Calls calls;
    std::string error = "0";
    std::string session; ///< the one that is open then; empty: none
};

Expected nextLogin(const Now& now) {
    Expected expected;
    if (now.handle == "none") {
        expected.calls = {"C_OpenSession(" + now.slot + ", flags=0x6)"};
        if (now.slot == "none") {
            expected.error = "80e9";
            return expected;
        }
        expected.session = kNextSessionText;
    } else if (now.readWrite) {
        expected.calls = {getSessionInfo(now.handle)};
        expected.session = now.handle;
    } else {
        expected.calls = {getSessionInfo(now.handle), closeSession(now.handle),
                          "C_OpenSession(" + now.slot + ", flags=0x6)"};
        expected.session = kNextSessionText;
    }
    expected.calls.push_back(getSessionInfo(expected.session));
    if (now.role == Fake::Role::SecurityOfficer) {
        expected.calls.push_back("C_Logout(" + expected.session + ")");
    }
    if (now.stored.empty()) {
        expected.error = "80f8";
        return expected;
    }
    expected.calls.push_back(userLogin(expected.session, now.stored));
    if (now.stored != now.token) {
        expected.error = now.token.empty() ? "80f5" : "80ee";
        return expected;
    }
    expected.calls.push_back("C_Logout(" + expected.session + ")");
    return expected;
}

/// The next operations tell which session, slot and PIN the executor holds, and that it works.
std::string playNext(Fake::Module& fake, Executor& executor, const Now& now) {
    if (now.role == Fake::Role::User) {
        fake.setLogin(Fake::Role::Nobody); // so that the stored PIN is asked for
    }
    fake.setNextSessionHandle(kNextSession);
    const Expected login = nextLogin(now);
    const Result written = executor.execute("writeData", Params());
    std::string wrong = comparedResult("the outputs of the next operation", written, login.error, {});
    wrong += compared("the calls of the next operation", fake.takeCalls(), login.calls);

    // A search that was left open is in the next one's way on the same session.
    const bool isInTheWay = now.searching && login.session == now.handle;
    const std::string error = now.slot == "none" && now.handle == "none" ? "80e9" : isInTheWay ? "80f5" : "0";
    const Result read = executor.execute("readData", Params().plain("OBJ_TYPE", "CERTIFICATE"));
    const std::string actual = read.failure ? "an exception" : read.value("ERROR").value_or("nothing");
    return wrong + compared("ERROR of the operation after that", actual, error);
}

std::string takeDown(Fake::Module& fake, Executor& executor, const Now& now) {
    executor.terminate();
    const std::size_t left = now.orphan.empty() ? 0 : 1;
    std::string wrong = fake.sessionCount() == left ? "" : "\n    sessions are left open";
    executor.free();
    wrong += Executor::alive() == 0 ? "" : "\n    an executor is left";
    wrong += fake.isInitialized() ? "\n    the module was not finalised" : "";
    return wrong;
}

} // namespace

Executor begin(Start start) {
    Executor executor(Params().plain("DLLNAME", Fake::moduleFile()));
    if (!executor || executor.initialize(Params().hex("PIN", kUserPin))) {
        throw std::logic_error("the stage could not be set: no executor");
    }
    if (start == Start::NoReader) {
        return executor;
    }
    need(executor.execute("getPlatformIdentifiers", Params().hex("READERNAME", Conformance::kReaderHex)), "reader");
    if (start == Start::ReadOnly) {
        need(executor.execute("readData", Params()), "readData");
    }
    if (start == Start::UserIn || start == Start::Public) {
        logIn(executor, "USER", kUserPin);
    }
    if (start == Start::Public) {
        need(executor.execute("deauthenticate", Params().plain("PINID", "USER")), "deauthenticate");
    }
    if (start == Start::OfficerIn) {
        logIn(executor, "SO", kSoPin);
    }
    return executor;
}

std::string play(const Story& story, const std::function<void(Fake::Module&)>& answer, const Calls& expectedCalls,
                 const std::string& expectedError, const std::vector<Output>& expectedOutputs,
                 const Now& expectedAfter) {
    Fake::Module fake = Fake::module();
    fake.reset();
    fake.setRecording(false);
    if (story.furnish) {
        story.furnish(fake);
    }
    Executor executor = begin(story.start);
    int logouts = 0;
    fake.hook<Fake::Function::C_Logout>([fake, &logouts](CK_SESSION_HANDLE session) {
        return ++logouts >= kLogoutsUntilItGivesIn ? CKR_OK : fake.honest().C_Logout(session);
    });
    fake.setRecording(true);
    answer(fake);

    const Result result = executor.execute(story.script, story.params);

    fake.clearAnswers();
    fake.unhook(Fake::Function::C_Logout);
    std::string wrong = compared("the calls", fake.takeCalls(), expectedCalls);
    wrong += comparedResult("the outputs", result, expectedError, expectedOutputs);
    wrong += comparedModule(fake, expectedAfter);
    wrong += playNext(fake, executor, expectedAfter);
    wrong += takeDown(fake, executor, expectedAfter);
    return wrong;
}

std::string playGood(const Story& story) {
    return play(
        story, [](Fake::Module&) {}, story.callsFrom(0), story.good.error, story.good.outputs, story.good.after);
}

std::string playCell(const Story& story, std::size_t step, CK_RV code) {
    const Step& tested = story.steps[step];
    const auto special = tested.special.find(code);
    const Outcome& outcome = code == CKR_OK                    ? story.good
                             : special != tested.special.end() ? special->second
                                                               : tested.otherwise;
    const bool isGood = code == CKR_OK || outcome.isGood;
    Calls calls = story.callsFrom(0);
    if (!isGood) {
        calls.resize(step + 1);
        calls = joined(std::move(calls), outcome.further);
    }
    const std::string& error = isGood ? story.good.error : outcome.error;
    return play(
        story,
        [step, code](Fake::Module& fake) {
            fake.answerCall(static_cast<unsigned long>(step + 1), code,
                            code == CKR_OK ? Fake::When::After : Fake::When::Before);
        },
        calls, error == kMapped ? clientCodeOf(code) : error, isGood ? story.good.outputs : outcome.outputs,
        outcome.isGood && !outcome.hasAfter ? story.good.after : outcome.after);
}

} // namespace Faults
