// Whose PIN is it? A stored PIN serves the role that it was given for and no other, whatever a later operation says of
// roles; what an operation brings for the security officer serves that operation alone.

#include "tests/conformance/Harness.h"

#include <vector>

using namespace Conformance;
using Fake::Function;
using Fake::Role;

namespace {

constexpr const char* kUserPin = "31323334";       // as the token has it
constexpr const char* kSoPin = "3132333435363738"; // as the token has it
constexpr const char* kWrongPin = "39393939";
constexpr const char* kNewPin = "35363738";

constexpr unsigned kSo = 0;
constexpr unsigned kUser = 1;

const char* roleName(unsigned role) {
    return role == kSo ? "SO" : "USER";
}

std::string loginText(unsigned role, const std::string& pin) {
    return std::string("CKU_") + roleName(role) + ", " + pin;
}

const char* pinOf(unsigned role) {
    return role == kSo ? kSoPin : kUserPin;
}

Trace guardTrace(const std::string& method, unsigned asked, unsigned remembered) {
    return {{1, "PKCS11Client::" + method +
                    textf(": the PIN is provided in accessParam (not in a script parameter) but script PINID (0x%02x) "
                          "different from runtime PINID(0x%02x)",
                          asked, remembered)}};
}

Trace notFound(const std::string& method, const std::string& parameter) {
    return {{1, "PKCS11Client::" + method + ": " + parameter + " parameter not found"}};
}

const Trace kNoUserPin = {{1, "PKCS11Client::loginAsUser : no PIN Found"},
                          {1, "PKCS11Client::signData : login 0x06 : failed"}};

Params pinId(const char* value) {
    return Params().plain("PINID", value);
}

} // namespace

class Roles : public PluginTest {
protected:
    /// initialize with "AUTH_TYPE" given, and the reader resolved.
    void begin(const Params& access = Params(), const Params& runtime = Params::null()) {
        startWithReader(Params().plain("AUTH_TYPE", "STATIC").append(access), runtime);
    }

    /// A further initialize of the same executor.
    void beginAgain(const Params& access, const Params& runtime = Params::null()) {
        plugin.terminate();
        EXPECT_EQ(plugin.initialize(access, runtime), std::nullopt);
        forget();
    }

    /// Arguments of the one C_Login among the calls since the last take, without the session; "none" without one.
    std::string loginCall() {
        std::string found = "none";
        for (const std::string& line : calls()) {
            if (line.rfind("C_Login(", 0) == 0) {
                EXPECT_EQ(found, "none") << "two logins";
                const std::size_t start = line.find(", ") + 2;
                found = line.substr(start, line.size() - start - 1);
            }
        }
        return found;
    }

    /// Whom "authenticate" with these parameters logs in, and with what.
    std::string authenticated(const Params& params = Params::null()) {
        fake.setLogin(Role::Nobody);
        forget();
        static_cast<void>(execute("authenticate", params));
        return loginCall();
    }

    /// The PIN that a script takes to log the user in.
    std::string userPin() {
        fake.setLogin(Role::Nobody);
        forget();
        static_cast<void>(execute("signData")); // logs in before it looks for its parameters
        const std::string login = loginCall();
        return login.rfind("CKU_USER, ", 0) == 0 ? login.substr(10) : login;
    }

    void expectNoUserPin(Where where = Where::current()) {
        fake.setLogin(Role::Nobody);
        forget();
        expectError(execute("signData"), "80f8", where);
        expectTraceAt(1, kNoUserPin, where);
        if (loginCall() != "none") {
            ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line())) << "a login was tried";
        }
    }

    /// The script refuses to use the stored PIN for the role asked for, and calls nothing.
    void expectGuard(const std::string& script, const Params& params, unsigned asked, unsigned remembered,
                     Where where = Where::current()) {
        forget();
        expectOutputs(execute(script, params), {errorIs("80ec")}, where);
        expectTraceAt(1, guardTrace(script, asked, remembered), where);
        expectCalls({}, where);
    }

    void expectNotFound(const std::string& script, const Params& params, const std::string& parameter,
                        Where where = Where::current()) {
        forget();
        expectOutputs(execute(script, params), {errorIs("80ec")}, where);
        expectTraceAt(1, notFound(script, parameter), where);
        expectCalls({}, where);
    }
};

// initialize: the role that stands when it ends, wherever "PINID" is

/// Where "PINID" stands; `pin` is the id of the PIN.
struct Placement {
    const char* name;
    unsigned role;
    Params (*access)(const char* pin);
    Params (*runtime)(const char* pin);
};

Params nothing(const char*) {
    return Params::null();
}

const std::vector<Placement> kPlacements = {
    {"noPinId", kUser, [](const char* pin) { return Params().hex(pin, kUserPin); }, nothing},
    {"noPinIdRuntime", kUser, nothing, [](const char* pin) { return Params().hex(pin, kUserPin); }},
    {"soBefore", kSo, [](const char* pin) { return pinId("SO").hex(pin, kSoPin); }, nothing},
    {"soBehind", kSo, [](const char* pin) { return Params().hex(pin, kSoPin).plain("PINID", "SO"); }, nothing},
    {"soBeforeRuntime", kSo, nothing, [](const char* pin) { return pinId("SO").hex(pin, kSoPin); }},
    {"soBehindRuntime", kSo, nothing, [](const char* pin) { return Params().hex(pin, kSoPin).plain("PINID", "SO"); }},
    {"soInAccessPinInRuntime", kSo, [](const char*) { return pinId("SO"); },
     [](const char* pin) { return Params().hex(pin, kSoPin); }},
    {"pinInAccessSoInRuntime", kSo, [](const char* pin) { return Params().hex(pin, kSoPin); },
     [](const char*) { return pinId("SO"); }},
    {"userBefore", kUser, [](const char* pin) { return pinId("USER").hex(pin, kUserPin); }, nothing},
    {"userBehind", kUser, [](const char* pin) { return Params().hex(pin, kUserPin).plain("PINID", "USER"); }, nothing},
    {"userBeforeRuntime", kUser, nothing, [](const char* pin) { return pinId("USER").hex(pin, kUserPin); }},
    {"pinInAccessUserInRuntime", kUser, [](const char* pin) { return Params().hex(pin, kUserPin); },
     [](const char*) { return pinId("USER"); }},
    {"soOverruledByRuntimeUser", kUser, [](const char* pin) { return pinId("SO").hex(pin, kUserPin); },
     [](const char*) { return pinId("USER"); }},
    {"userOverruledByRuntimeSo", kSo, [](const char* pin) { return pinId("USER").hex(pin, kSoPin); },
     [](const char*) { return pinId("SO"); }},
    {"lastOfTwoPinIds", kUser, [](const char* pin) { return pinId("SO").hex(pin, kUserPin).plain("PINID", "USER"); },
     nothing},
    {"lastOfTwoPinIdsSo", kSo, [](const char* pin) { return pinId("USER").hex(pin, kSoPin).plain("PINID", "SO"); },
     nothing},
    {"lastOfTwoPins", kSo, [](const char* pin) { return Params().hex(pin, kWrongPin).plain("PINID", "SO"); },
     [](const char* pin) { return Params().hex(pin, kSoPin); }},
};

class InitializedRole : public Roles, public testing::WithParamInterface<Placement> {
protected:
    [[nodiscard]] static unsigned own() { return GetParam().role; }
    [[nodiscard]] static unsigned other() { return own() == kSo ? kUser : kSo; }
    void beginWith(const char* pin) { begin(Params().append(GetParam().access(pin)), GetParam().runtime(pin)); }
};

TEST_P(InitializedRole, pinServesItsOwnRole) {
    beginWith("PIN");
    expectError(execute("authenticate", pinId(roleName(own()))), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, " + loginText(own(), pinOf(own())) + ")"});
}

TEST_P(InitializedRole, pinServesItsOwnRoleWithoutPinId) {
    beginWith("PIN");
    expectError(execute("authenticate"), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, " + loginText(own(), pinOf(own())) + ")"});
}

TEST_P(InitializedRole, pinNeverServesTheOtherRole) {
    beginWith("PIN");
    expectGuard("authenticate", pinId(roleName(other())), other(), own());
}

TEST_P(InitializedRole, pinIsTheUsersOnlyIfItWasGivenForTheUser) {
    beginWith("PIN");
    if (own() == kUser) {
        EXPECT_EQ(userPin(), kUserPin);
    } else {
        expectNoUserPin();
        expectError(execute("authenticate", pinId("SO")), "0");
    }
}

TEST_P(InitializedRole, refusalsDoNotChangeWhoseItIs) {
    beginWith("PIN");
    expectGuard("authenticate", pinId(roleName(other())), other(), own());
    // The operation's "PINID" stands now: asked for without one of its own.
    expectGuard("authenticate", Params::null(), other(), own());
    EXPECT_EQ(authenticated(pinId(roleName(own()))), loginText(own(), pinOf(own())));
}

TEST_P(InitializedRole, oldPinServesItsOwnRole) {
    beginWith("OLD_PIN");
    expectError(execute("changeAuthenticator", pinId(roleName(own())).hex("NEW_PIN", kNewPin)), "0");
    const std::string old = pinOf(own());
    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)",
                 "C_Login(0x1, " + loginText(own(), old) + ")", "C_SetPIN(0x1, " + old + ", " + kNewPin + ")",
                 "C_Logout(0x1)"});
}

TEST_P(InitializedRole, oldPinServesItsOwnRoleWithoutPinId) {
    beginWith("OLD_PIN");
    expectError(execute("changeAuthenticator", Params().hex("NEW_PIN", kNewPin)), "0");
    EXPECT_EQ(loginCall(), loginText(own(), pinOf(own())));
}

TEST_P(InitializedRole, oldPinNeverServesTheOtherRole) {
    beginWith("OLD_PIN");
    expectGuard("changeAuthenticator", pinId(roleName(other())).hex("NEW_PIN", kNewPin), other(), own());
    expectGuard("changeAuthenticator", Params().hex("NEW_PIN", kNewPin), other(), own());
}

INSTANTIATE_TEST_SUITE_P(Placements, InitializedRole, testing::ValuesIn(kPlacements),
                         [](const testing::TestParamInfo<Placement>& placement) {
                             return std::string(placement.param.name);
                         });

TEST_F(Roles, pinAndOldPinRememberTheirRolesApart) {
    begin(Params().hex("PIN", kUserPin));
    beginAgain(pinId("SO").hex("OLD_PIN", kSoPin));
    expectGuard("authenticate", Params::null(), kSo, kUser);
    EXPECT_EQ(userPin(), kUserPin);
    expectGuard("changeAuthenticator", pinId("USER").hex("NEW_PIN", kNewPin), kUser, kSo);
    expectError(execute("changeAuthenticator", pinId("SO")), "0");
    EXPECT_EQ(authenticated(pinId("USER")), loginText(kUser, kUserPin));
}

TEST_F(Roles, aLaterInitializeWithoutPinDoesNotChangeWhoseItIs) {
    begin(Params().hex("PIN", kUserPin));
    beginAgain(pinId("SO"));
    expectGuard("authenticate", Params::null(), kSo, kUser);
    EXPECT_EQ(userPin(), kUserPin);
}

TEST_F(Roles, aLaterInitializeWithAPinGivesItTheRoleThatStands) {
    begin(pinId("SO").hex("PIN", kSoPin));
    beginAgain(Params().hex("PIN", kUserPin)); // "SO" still stands
    expectNoUserPin();
    beginAgain(pinId("USER").hex("PIN", kUserPin));
    EXPECT_EQ(userPin(), kUserPin);
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

TEST_F(Roles, wherePinsWereNeverGivenTheRememberedRoleIsTheUser) {
    begin();
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
    expectGuard("changeAuthenticator", pinId("SO").hex("NEW_PIN", kNewPin), kSo, kUser);
    expectNotFound("authenticate", pinId("USER"), "PIN");
    expectNotFound("changeAuthenticator", pinId("USER"), "OLD_PIN");
}

TEST_F(Roles, aRoleAloneDoesNotSayWhosePinItWouldBe) {
    begin(pinId("SO"));
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
    expectGuard("changeAuthenticator", pinId("SO").hex("NEW_PIN", kNewPin), kSo, kUser);
    expectNotFound("authenticate", pinId("USER"), "PIN");
    expectNotFound("changeAuthenticator", pinId("USER").hex("NEW_PIN", kNewPin), "OLD_PIN");
}

// What an operation brings for the officer

struct Brought {
    const char* name;
    Params (*params)(const char* pin);
};

const std::vector<Brought> kBrought = {
    {"pinIdBefore", [](const char* pin) { return pinId("SO").hex("PIN", pin); }},
    {"pinIdBehind", [](const char* pin) { return Params().hex("PIN", pin).plain("PINID", "SO"); }},
    {"lastPinIdCounts", [](const char* pin) { return pinId("USER").hex("PIN", pin).plain("PINID", "SO"); }},
    {"lastPinCounts", [](const char* pin) { return Params().hex("PIN", "00").hex("PIN", pin).plain("PINID", "SO"); }},
};

class BroughtForTheOfficer : public Roles, public testing::WithParamInterface<Brought> {
protected:
    [[nodiscard]] static Params bring(const char* pin = kSoPin) { return GetParam().params(pin); }
};

TEST_P(BroughtForTheOfficer, servesThatOperation) {
    begin(Params().hex("PIN", kUserPin));
    expectError(execute("authenticate", bring()), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)"});
}

TEST_P(BroughtForTheOfficer, doesNotDisplaceTheUsersPin) {
    begin(Params().hex("PIN", kUserPin));
    run("authenticate", bring());
    EXPECT_EQ(execute("signData").value("ERROR"), "80ec");
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_Logout(0x1)", "C_Login(0x1, CKU_USER, 31323334)",
                 "C_Logout(0x1)"});
}

TEST_P(BroughtForTheOfficer, isNotKept) {
    begin(Params().hex("PIN", kUserPin));
    run("authenticate", bring());
    expectGuard("authenticate", Params::null(), kSo, kUser);
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
    EXPECT_EQ(authenticated(pinId("USER")), loginText(kUser, kUserPin));
}

TEST_P(BroughtForTheOfficer, isNotKeptWhereNothingIsStored) {
    begin();
    run("authenticate", bring());
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
    expectNoUserPin();
    expectNotFound("authenticate", pinId("USER"), "PIN");
}

TEST_P(BroughtForTheOfficer, isNotKeptWhenItIsWrong) {
    begin(Params().hex("PIN", kUserPin));
    expectError(execute("authenticate", bring(kWrongPin)), "80ee");
    EXPECT_EQ(userPin(), kUserPin);
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

TEST_P(BroughtForTheOfficer, isNotKeptByAScriptThatDoesNotUseIt) {
    begin(Params().hex("PIN", kUserPin));
    run("beginSynchronization", bring());
    EXPECT_EQ(userPin(), kUserPin);
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

TEST_P(BroughtForTheOfficer, isNotKeptByAnUnknownScript) {
    begin(Params().hex("PIN", kUserPin));
    expectOutputs(execute("unknown", bring()), {});
    expectOutputs(plugin.execute("1", "unknown", "signData", bring()), {});
    EXPECT_EQ(userPin(), kUserPin);
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

TEST_P(BroughtForTheOfficer, isNeverUsedForTheUserInThatOperation) {
    begin(Params().hex("PIN", kUserPin));
    static_cast<void>(execute("signData", bring()));
    EXPECT_EQ(loginCall(), loginText(kUser, kUserPin));
    EXPECT_EQ(userPin(), kUserPin);
}

TEST_P(BroughtForTheOfficer, isNoUserPinWhereNothingIsStored) {
    begin();
    expectError(execute("signData", bring()), "80f8");
    expectTraceAt(1, kNoUserPin);
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)"});
}

TEST_P(BroughtForTheOfficer, standsBeforeTheOfficersStoredPinForThatOperationAlone) {
    begin(pinId("SO").hex("PIN", kSoPin));
    expectError(execute("authenticate", bring(kWrongPin)), "80ee");
    EXPECT_EQ(loginCall(), loginText(kSo, kWrongPin));
    EXPECT_EQ(authenticated(), loginText(kSo, kSoPin));
    EXPECT_EQ(authenticated(pinId("SO")), loginText(kSo, kSoPin));
    expectNoUserPin();
}

INSTANTIATE_TEST_SUITE_P(Orders, BroughtForTheOfficer, testing::ValuesIn(kBrought),
                         [](const testing::TestParamInfo<Brought>& brought) {
                             return std::string(brought.param.name);
                         });

TEST_F(Roles, aPinWithoutPinIdIsTheOfficersWhereTheOfficerStands) {
    begin(pinId("SO").hex("PIN", kSoPin));
    expectError(execute("authenticate", Params().hex("PIN", kWrongPin)), "80ee");
    EXPECT_EQ(loginCall(), loginText(kSo, kWrongPin));
    expectNoUserPin();
    EXPECT_EQ(authenticated(), loginText(kSo, kSoPin));
}

TEST_F(Roles, aPinWithoutPinIdBehindAnOperationForTheOfficerIsTheOfficers) {
    begin();
    run("beginSynchronization", pinId("SO"));
    forget();
    expectError(execute("signData", Params().hex("PIN", kUserPin)), "80f8");
    expectTraceAt(1, kNoUserPin);
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)"});
}

TEST_F(Roles, aPinWithoutPinIdBehindAnOperationForTheOfficerDoesNotDisplaceTheUsers) {
    begin(Params().hex("PIN", kUserPin));
    run("beginSynchronization", pinId("SO"));
    forget();
    static_cast<void>(execute("signData", Params().hex("PIN", kWrongPin)));
    EXPECT_EQ(loginCall(), loginText(kUser, kUserPin));
    EXPECT_EQ(userPin(), kUserPin);
}

TEST_F(Roles, aPinThatIsDecodedServesTheOfficerThroughTheAccessValue) {
    // The script itself takes the value text, which is no hexadecimal text here.
    begin(Params().hex("PIN", kUserPin));
    expectError(execute("authenticate", pinId("SO").bytes("PIN", kSoPin)), "0");
    EXPECT_EQ(loginCall(), loginText(kSo, kSoPin));
    EXPECT_EQ(userPin(), kUserPin);
}

TEST_F(Roles, anUndecodablePinForTheOfficerIsNoPin) {
    begin(Params().hex("PIN", kUserPin));
    expectError(execute("authenticate", pinId("SO").hex("PIN", "xy")), "80ec");
    expectCalls({});
    EXPECT_EQ(userPin(), kUserPin);
}

TEST_F(Roles, anEmptyPinForTheOfficerIsNoPin) {
    begin(Params().hex("PIN", kUserPin));
    expectError(execute("authenticate", pinId("SO").hex("PIN", "")), "80ec");
    expectCalls({});
    EXPECT_EQ(userPin(), kUserPin);
}

// What an operation brings for the user

TEST_F(Roles, aUserPinOfAnOperationIsKept) {
    begin();
    run("beginSynchronization", Params().hex("PIN", kUserPin));
    EXPECT_EQ(userPin(), kUserPin);
    EXPECT_EQ(authenticated(), loginText(kUser, kUserPin));
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

TEST_F(Roles, aUserPinOfAnOperationDisplacesTheStoredOneEvenWhenItIsWrong) {
    begin(Params().hex("PIN", kUserPin));
    expectError(execute("authenticate", Params().hex("PIN", kWrongPin)), "80ee");
    EXPECT_EQ(userPin(), kWrongPin);
}

TEST_F(Roles, aUserPinOfAnOperationDisplacesTheOfficersStoredOne) {
    begin(pinId("SO").hex("PIN", kSoPin));
    run("authenticate", pinId("USER").hex("PIN", kUserPin));
    EXPECT_EQ(userPin(), kUserPin);
    EXPECT_EQ(authenticated(), loginText(kUser, kUserPin));
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

TEST_F(Roles, ofTwoPinsForTwoRolesInOneOperationTheLastIsMeant) {
    begin();
    run("authenticate", pinId("SO").hex("PIN", kSoPin).plain("PINID", "USER").hex("PIN", kUserPin));
    EXPECT_EQ(userPin(), kUserPin);
}

TEST_F(Roles, theOfficersOperationDoesNotEndTheUsersRole) {
    begin(Params().hex("PIN", kUserPin));
    run("authenticate", pinId("SO").hex("PIN", kSoPin));
    run("authenticate", pinId("USER"));
    EXPECT_EQ(fake.login(), Role::User);
}

TEST_F(Roles, theGuardKnowsTheRolePastAnOperationThatOnlyNamesAnother) {
    begin(pinId("SO").hex("PIN", kSoPin));
    run("beginSynchronization", pinId("USER"));
    expectGuard("authenticate", Params::null(), kUser, kSo);
    expectNoUserPin();
    EXPECT_EQ(authenticated(pinId("SO")), loginText(kSo, kSoPin));
}

// Changing PINs

TEST_F(Roles, officersOldAndNewPinOfAnOperationAreNotKept) {
    begin(Params().hex("PIN", kUserPin));
    run("changeAuthenticator", pinId("SO").hex("OLD_PIN", kSoPin).hex("NEW_PIN", "38373635"));
    EXPECT_EQ(fake.soPin(), "8765");
    EXPECT_EQ(userPin(), kUserPin);
    expectGuard("changeAuthenticator", pinId("SO").hex("NEW_PIN", kNewPin), kSo, kUser);
    expectNotFound("changeAuthenticator", pinId("SO").hex("OLD_PIN", "38373635"), "NEW_PIN");
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

TEST_F(Roles, officersOldAndNewPinOfAnOperationDoNotDisplaceTheUsers) {
    begin(Params().hex("OLD_PIN", kUserPin).hex("NEW_PIN", kNewPin));
    run("changeAuthenticator", pinId("SO").hex("OLD_PIN", kSoPin).hex("NEW_PIN", "38373635"));
    expectError(execute("changeAuthenticator", pinId("USER")), "0");
    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)", "C_SetPIN(0x1, 31323334, 35363738)",
                 "C_Logout(0x1)"});
}

TEST_F(Roles, aUsersNewPinIsTheStoredPinAfterwards) {
    begin(pinId("SO").hex("PIN", kSoPin));
    run("changeAuthenticator", pinId("USER").hex("OLD_PIN", kUserPin).hex("NEW_PIN", kNewPin));
    EXPECT_EQ(userPin(), kNewPin);
    EXPECT_EQ(authenticated(), loginText(kUser, kNewPin));
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

TEST_F(Roles, anOfficersNewPinIsNotStored) {
    begin(pinId("SO").hex("PIN", kSoPin));
    run("changeAuthenticator", Params().hex("OLD_PIN", kSoPin).hex("NEW_PIN", kNewPin));
    EXPECT_EQ(authenticated(), loginText(kSo, kSoPin));
    expectNoUserPin();
}

TEST_F(Roles, onlyOldPinTakesPartInTheGuard) {
    // A stored NEW_PIN is taken whichever role it was given for.
    begin(pinId("SO").hex("NEW_PIN", kNewPin));
    run("changeAuthenticator", pinId("USER").hex("OLD_PIN", kUserPin));
    EXPECT_EQ(fake.userPin(), "5678");
}

TEST_F(Roles, theOfficersAccessPinNeverBecomesTheNewUserPin) {
    begin(pinId("SO").hex("PIN", kSoPin));
    expectNotFound("initAuthenticator", pinId("USER").plain("INIT_KEYID", "SO").hex("INIT_KEY", kSoPin), "PIN");
    EXPECT_EQ(fake.userPin(), "1234");
}

TEST_F(Roles, aUserPinThatTheOfficerSetIsTheStoredPin) {
    begin(pinId("SO").hex("PIN", kSoPin));
    run("initAuthenticator", pinId("USER").plain("INIT_KEYID", "SO").hex("INIT_KEY", kSoPin).hex("PIN", kNewPin));
    EXPECT_EQ(userPin(), kNewPin);
    expectGuard("authenticate", pinId("SO"), kSo, kUser);
}

// A bad "PINID": what was read before it stands, and what served that operation alone is gone

TEST_F(Roles, afterABadPinIdTheExecutorWorks) {
    begin(Params().hex("PIN", kUserPin));
    const Failure bad = {"ClientOperationException", "80ec", "Bad parameter PINID: officer"};
    expectFailure(execute("authenticate", pinId("officer")).failure, bad);
    expectFailure(execute("changeAuthenticator", Params().plain("KEYID", "01").plain("PINID", "officer")).failure, bad);
    expectCalls({});
    expectError(execute("authenticate"), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
}

TEST_F(Roles, anOfficersPinBeforeABadPinIdIsNotKept) {
    begin(Params().hex("PIN", kUserPin));
    const Params params = pinId("SO").hex("PIN", kSoPin).hex("OLD_PIN", kSoPin).plain("PINID", "x");
    EXPECT_NE(execute("authenticate", params).failure, std::nullopt);
    EXPECT_EQ(userPin(), kUserPin);
    expectGuard("authenticate", Params::null(), kSo, kUser);
    expectGuard("changeAuthenticator", pinId("SO").hex("NEW_PIN", kNewPin), kSo, kUser);
}

TEST_F(Roles, aUserPinBeforeABadPinIdIsKept) {
    begin();
    EXPECT_NE(execute("authenticate", Params().hex("PIN", kUserPin).plain("PINID", "x")).failure, std::nullopt);
    EXPECT_EQ(userPin(), kUserPin);
}

TEST_F(Roles, aPinBehindABadPinIdIsNotRead) {
    begin(Params().hex("PIN", kUserPin));
    EXPECT_NE(execute("authenticate", pinId("x").hex("PIN", kWrongPin)).failure, std::nullopt);
    EXPECT_EQ(userPin(), kUserPin);
}

TEST_F(Roles, initializeKeepsThePinBeforeABadPinIdForTheRoleThatStood) {
    begin();
    plugin.terminate();
    EXPECT_NE(plugin.initialize(Params().hex("PIN", kUserPin).plain("PINID", "x")), std::nullopt);
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    EXPECT_EQ(userPin(), kUserPin);

    plugin.terminate();
    EXPECT_NE(plugin.initialize(pinId("SO").hex("PIN", kSoPin).plain("PINID", "x")), std::nullopt);
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    expectNoUserPin();
    EXPECT_EQ(authenticated(), loginText(kSo, kSoPin));
}

TEST_F(Roles, aBadPinIdInTheMiddleOfASessionLeavesTheLoginThere) {
    begin(Params().hex("PIN", kUserPin));
    run("authenticate");
    EXPECT_NE(execute("signData", pinId("x")).failure, std::nullopt);
    EXPECT_EQ(fake.login(), Role::User);
    EXPECT_EQ(fake.sessionCount(), 1U);
    plugin.terminate();
    EXPECT_EQ(fake.sessionCount(), 0U);
}

// Nothing of all this shows a PIN

TEST_F(Roles, noTraceShowsAPin) {
    begin(Params().hex("PIN", "5151515151"));
    static_cast<void>(execute("authenticate", pinId("SO").hex("PIN", "5252525252")));
    static_cast<void>(execute("changeAuthenticator", pinId("SO").hex("OLD_PIN", "5353535353").hex("NEW_PIN", "5454")));
    static_cast<void>(execute("authenticate", pinId("USER").text("PIN", "QQQQQ")));
    static_cast<void>(execute("authenticate", pinId("SO")));
    static_cast<void>(execute("signData"));
    for (const TraceLine& line : trace().lines) {
        for (const std::string pin : {"5151515151", "5252525252", "5353535353", "5454", "QQQQQ", "RRRRR", "SSSSS"}) {
            EXPECT_EQ(line.text.find(pin), std::string::npos) << line.text;
            EXPECT_EQ(line.dump.value_or("").find(pin), std::string::npos) << line.text;
        }
    }
}
