// "getCardState" and "getAuthenticatorState".

#include "client/PKCS11Client.h"
#include "tests/conformance/TokenTest.h"

namespace Conformance::CardStateTests {

using Fake::Function;

namespace {

const std::string kScript = "getAuthenticatorState";
constexpr CK_SLOT_ID kSlot = Fake::kSlot;
const Trace kNotLastTry = {{4, "PKCS11Client::getAuthenticatorState Last try FALSE"}};
const Trace kLastTry = {{4, "PKCS11Client::getAuthenticatorStateLast try TRUE"}};

std::vector<Output> stateIs(const std::string& state) {
    return {done(), {"AUTHSTATE", 0, 1, state}};
}

std::vector<Output> lastTryAt(const std::string& state) {
    return {done(), {"AUTHSTATE", 0, 1, state}, {"LEFTPINTRY", 2, 1, "1"}};
}

Trace opening() {
    return call(kScript, "C_OpenSession") + in(kScript, "SlotID", kSlot) +
           Trace{{4, "PKCS11Client::getAuthenticatorState: --> Flags=CKF_SERIAL_SESSION | 0x0"}};
}

Trace askingSession(CK_SESSION_HANDLE session) {
    return sessionCall(kScript, "C_GetSessionInfo", session);
}

Trace askingToken() {
    return call(kScript, "C_GetTokenInfo") + in(kScript, "SlotID", kSlot);
}

Trace stateLine(int state) {
    return {{4, textf("PKCS11Client::getAuthenticatorState authState %d", state)}};
}

/// The script where it opens session 0x1 itself, up to the answer about the session.
Trace openedTrace() {
    return entry(kScript) + opening() + out(kScript, "hSession", 1) + askingSession(1);
}

} // namespace

class CardState : public PluginTest {};

TEST_F(CardState, isAlwaysOneAndAsksNoToken) {
    start();

    const Result result = execute("getCardState");

    expectOutputs(result, {done(), {"CARDSTATE", 2, 3, "1"}});
    expectCalls({});
    expectTrace(executeTrace("getCardState", std::nullopt, {}, result));
}

TEST_F(CardState, itsParametersAreNotLookedAt) {
    fake.removeToken();
    start();

    expectOutputs(execute("getCardState", Params().plain("CARDSTATE", "2").hex("READERNAME", "00")),
                  {done(), {"CARDSTATE", 2, 3, "1"}});
    expectCalls({});
}

class AuthenticatorState : public PluginTest {
protected:
    static Params pinId(const std::string& role) { return Params().plain("PINID", role); }

    /// Leaves read/write session 0x1 open with this role ("USER" or "SO") logged in.
    void startLoggedIn(const std::string& role) {
        startWithReader();
        const char* pin = role == "SO" ? "3132333435363738" : "31323334";
        run("authenticate", pinId(role).plain("AUTH_TYPE", "STATIC").hex("PIN", pin));
    }
};

TEST_F(AuthenticatorState, withoutSessionAReadOnlyOneIsOpenedAndClosed) {
    startWithReader();

    const Result result = execute(kScript);

    expectOutputs(result, stateIs("2"));
    EXPECT_EQ(fake.sessionCount(), 0U);
    expectCalls(
        {"C_OpenSession(0x11, flags=0x4)", "C_GetSessionInfo(0x1)", "C_GetTokenInfo(0x11)", "C_CloseSession(0x1)"});
    expectTrace(executeHead(kScript, std::nullopt) + openedTrace() +
                sessionInfoTrace(kScript, kSlot, CKS_RO_PUBLIC_SESSION, 4) + askingToken() +
                out(kScript, "tokenInfo.flags", 0x40D) + stateLine(2) + kNotLastTry + closeSessionTrace(1) +
                leave(kScript) + executeTail(result));
}

TEST_F(AuthenticatorState, anOpenSessionIsUsedAndLeftOpen) {
    startLoggedIn("USER");
    fake.setTokenFlags(kSlot, 0x20000);

    const Result result = execute(kScript, pinId("USER"));

    expectOutputs(result, lastTryAt("1"));
    EXPECT_EQ(fake.sessionCount(), 1U);
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetTokenInfo(0x11)"});
    expectTrace(executeTrace(kScript, {{"PINID"}},
                             askingSession(1) + sessionInfoTrace(kScript, kSlot, CKS_RW_USER_FUNCTIONS, 6) +
                                 askingToken() + out(kScript, "tokenInfo.flags", 0x2040D) + stateLine(1) + kLastTry,
                             result));
}

TEST_F(AuthenticatorState, theOfficerIsToldApartFromTheUser) {
    startLoggedIn("SO");
    expectOutputs(execute(kScript, pinId("SO")), stateIs("1"));
    expectOutputs(execute(kScript, pinId("USER")), stateIs("2"));
}

TEST_F(AuthenticatorState, withoutPinIdTheAccessValueDecides) {
    startLoggedIn("SO");
    expectOutputs(execute(kScript), stateIs("1"));
    expectOutputs(execute(kScript, Params()), stateIs("1"));
    expectOutputs(execute(kScript, Params().plain("OTHER", "USER").plain("pinid", "USER")), stateIs("1"));
    expectOutputs(execute(kScript, pinId("USER")), stateIs("2"));
    expectOutputs(execute(kScript), stateIs("2"));
}

TEST_F(AuthenticatorState, thePinIdOfInitializeDecidesAndTheUserWhereNoneWasGiven) {
    fake.setTokenFlags(kSlot, 0x200000);
    startWithReader(pinId("SO"));
    expectOutputs(execute(kScript), lastTryAt("2"));
    plugin.free();

    startWithReader();
    expectOutputs(execute(kScript), stateIs("2"));
    fake.setTokenFlags(kSlot, 0x20000);
    expectOutputs(execute(kScript), lastTryAt("2"));
}

TEST_F(AuthenticatorState, theFirstPinIdCounts) {
    startLoggedIn("USER");
    expectOutputs(execute(kScript, pinId("USER").plain("PINID", "SO")), stateIs("1"));
    expectOutputs(execute(kScript, pinId("SO").plain("PINID", "USER")), stateIs("2"));
}

TEST_F(AuthenticatorState, aBadPinIdLeavesExecuteAsAnException) {
    startWithReader();

    const Result result = execute(kScript, pinId("user"));

    expectFailure(result.failure, {"ClientOperationException", "80ec", "Bad parameter PINID: user"});
    expectCalls({});
}

TEST_F(AuthenticatorState, thePinIdIsTakenAsItStandsWhateverItsEncoding) {
    startLoggedIn("USER");
    expectOutputs(execute(kScript, Params().add("PINID", 1, 2, "USER")), stateIs("1"));
    expectOutputs(execute(kScript, Params().add("PINID", 0, 3, "SO")), stateIs("2"));
}

TEST_F(AuthenticatorState, aSessionThatCannotBeOpenedIsReported) {
    startWithReader();
    fake.answerNext(Function::C_OpenSession, CKR_SESSION_COUNT);

    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80fe")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(executeTrace(kScript, std::nullopt, opening() + failed(kScript, "C_OpenSession", 0xB1), result));
}

TEST_F(AuthenticatorState, aHandleWrittenAlongWithAFailureIsNoSession) {
    startWithReader();
    fake.hook<Function::C_OpenSession>([](CK_SLOT_ID, CK_FLAGS, void*, CK_NOTIFY, CK_SESSION_HANDLE* handle) -> CK_RV {
        *handle = 0x77;
        return CKR_DEVICE_ERROR;
    });
    expectOutputs(execute(kScript), {errorIs("80fa")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    fake.unhook(Function::C_OpenSession);

    expectOutputs(execute(kScript), stateIs("2"));
    expectCalls(
        {"C_OpenSession(0x11, flags=0x4)", "C_GetSessionInfo(0x1)", "C_GetTokenInfo(0x11)", "C_CloseSession(0x1)"});
}

TEST_F(AuthenticatorState, anUnresolvedSlotIsPassedToTheModule) {
    start();
    expectOutputs(execute(kScript), {errorIs("80e9")});
    expectCalls({"C_OpenSession(none, flags=0x4)"});
}

TEST_F(AuthenticatorState, aSessionThatCannotBeInspectedIsReportedAndClosed) {
    startWithReader();
    fake.answerNext(Function::C_GetSessionInfo, CKR_DEVICE_ERROR, 1, Fake::When::After);

    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80fa")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)", "C_GetSessionInfo(0x1)", "C_CloseSession(0x1)"});
    expectTrace(executeHead(kScript, std::nullopt) + openedTrace() + failedTight(kScript, "C_GetSessionInfo", 0x30) +
                closeSessionTrace(1) + leave(kScript) + executeTail(result));
}

TEST_F(AuthenticatorState, aTokenThatCannotBeInspectedIsReportedAndTheSessionClosed) {
    startWithReader();
    fake.answerNext(Function::C_GetTokenInfo, CKR_TOKEN_NOT_PRESENT, 1, Fake::When::After);

    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80eb")});
    expectTrace(executeHead(kScript, std::nullopt) + openedTrace() +
                sessionInfoTrace(kScript, kSlot, CKS_RO_PUBLIC_SESSION, 4) + askingToken() +
                failedTight(kScript, "C_GetTokenInfo", 0xE0) + closeSessionTrace(1) + leave(kScript) +
                executeTail(result));
}

TEST_F(AuthenticatorState, aFailureLeavesASessionOfAnotherScriptOpen) {
    startLoggedIn("USER");
    fake.answerNext(Function::C_GetTokenInfo, CKR_DEVICE_ERROR);
    expectOutputs(execute(kScript), {errorIs("80fa")});
    fake.answerNext(Function::C_GetSessionInfo, CKR_DEVICE_ERROR);
    expectOutputs(execute(kScript), {errorIs("80fa")});

    EXPECT_EQ(fake.sessionCount(), 1U);
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetTokenInfo(0x11)", "C_GetSessionInfo(0x1)"});
}

TEST_F(AuthenticatorState, aStaleHandleIsReportedAndKept) {
    startLoggedIn("USER");
    fake.dropSessions();

    expectOutputs(execute(kScript), {errorIs("80ff")});
    expectTraceAt(1, failedTight(kScript, "C_GetSessionInfo", 0xB3));
    expectOutputs(execute(kScript), {errorIs("80ff")});
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)"});
}

TEST_F(AuthenticatorState, aFailingCloseIsTheResultBesideTheState) {
    startWithReader();
    fake.answerNext(Function::C_CloseSession, CKR_SESSION_CLOSED, 1, Fake::When::After);

    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80fd"), {"AUTHSTATE", 0, 1, "2"}});
    expectTrace(executeHead(kScript, std::nullopt) + openedTrace() +
                sessionInfoTrace(kScript, kSlot, CKS_RO_PUBLIC_SESSION, 4) + askingToken() +
                out(kScript, "tokenInfo.flags", 0x40D) + stateLine(2) + kNotLastTry + closeSessionTrace(1, 0xB0) +
                failed(kScript, "closeSession", 0xB0) + leave(kScript) + executeTail(result));
    expectOutputs(execute(kScript), stateIs("2"));
}

TEST_F(AuthenticatorState, aFailingCloseReplacesAnEarlierFailure) {
    startWithReader();
    fake.answerNext(Function::C_GetTokenInfo, CKR_DEVICE_ERROR);
    fake.answerNext(Function::C_CloseSession, CKR_GENERAL_ERROR, 1, Fake::When::After);

    expectOutputs(execute(kScript), {errorIs("80f7")});
    expectTraceAt(1, failedTight(kScript, "C_GetTokenInfo", 0x30) + failed("closeSession", "C_CloseSession", 0x05) +
                         failed(kScript, "closeSession", 0x05));
}

TEST_F(AuthenticatorState, anUnknownSessionStateIsReportedAndTheSessionClosed) {
    startWithReader();
    fake.setSessionState(5);

    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80ed")});
    expectTrace(executeHead(kScript, std::nullopt) + openedTrace() + sessionInfoTrace(kScript, kSlot, 5, 4) +
                askingToken() + out(kScript, "tokenInfo.flags", 0x40D) + closeSessionTrace(1) + leave(kScript) +
                executeTail(result));
}

TEST_F(AuthenticatorState, anUnknownSessionStateWinsOverAFailingClose) {
    startWithReader();
    fake.setSessionState(5);
    fake.answerNext(Function::C_CloseSession, CKR_GENERAL_ERROR, 1, Fake::When::After);

    expectOutputs(execute(kScript), {errorIs("80ed")});
    expectTraceAt(1, failed("closeSession", "C_CloseSession", 0x05) + failed(kScript, "closeSession", 0x05));
}

TEST_F(AuthenticatorState, missingFunctionsAnswerAsNotSupported) {
    startWithReader();
    fake.setNullEntry(Function::C_GetTokenInfo);
    expectOutputs(execute(kScript), {errorIs("80f4")});
    fake.setNullEntry(Function::C_GetSessionInfo);
    expectOutputs(execute(kScript), {errorIs("80f4")});
    fake.setNullEntry(Function::C_OpenSession);
    expectOutputs(execute(kScript), {errorIs("80f4")});
}

struct SessionRow {
    CK_STATE state;
    const char* role;
    const char* expected; ///< null: the state is unknown
};

class StateBySession : public AuthenticatorState, public ::testing::WithParamInterface<SessionRow> {};

TEST_P(StateBySession, thePinsStateFollowsFromTheSessionsState) {
    const SessionRow row = GetParam();
    startWithReader();
    fake.setSessionState(row.state);

    const Result result = execute(kScript, pinId(row.role));

    expectOutputs(result, row.expected == nullptr ? std::vector<Output>{errorIs("80ed")} : stateIs(row.expected));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StateBySession,
    ::testing::Values(SessionRow{CKS_RO_PUBLIC_SESSION, "USER", "2"}, SessionRow{CKS_RO_PUBLIC_SESSION, "SO", "2"},
                      SessionRow{CKS_RO_USER_FUNCTIONS, "USER", "1"}, SessionRow{CKS_RO_USER_FUNCTIONS, "SO", "2"},
                      SessionRow{CKS_RW_PUBLIC_SESSION, "USER", "2"}, SessionRow{CKS_RW_PUBLIC_SESSION, "SO", "2"},
                      SessionRow{CKS_RW_USER_FUNCTIONS, "USER", "1"}, SessionRow{CKS_RW_USER_FUNCTIONS, "SO", "2"},
                      SessionRow{CKS_RW_SO_FUNCTIONS, "USER", "2"}, SessionRow{CKS_RW_SO_FUNCTIONS, "SO", "1"},
                      SessionRow{5, "USER", nullptr}, SessionRow{5, "SO", nullptr},
                      SessionRow{static_cast<CK_STATE>(-1), "USER", nullptr},
                      SessionRow{static_cast<CK_STATE>(-1), "SO", nullptr}));

struct FlagsRow {
    const char* role;
    CK_FLAGS flags; ///< besides the token's own
    const char* state;
    bool lastTry;
};

/// With the role that is asked about logged in on the open session.
class StateByFlags : public AuthenticatorState, public ::testing::WithParamInterface<FlagsRow> {};

TEST_P(StateByFlags, lockAndLastTryAreThoseOfTheRole) {
    const FlagsRow row = GetParam();
    startLoggedIn(row.role);
    fake.setTokenFlags(kSlot, row.flags);

    expectOutputs(execute(kScript, pinId(row.role)), row.lastTry ? lastTryAt(row.state) : stateIs(row.state));
}

INSTANTIATE_TEST_SUITE_P(Rows, StateByFlags,
                         ::testing::Values(FlagsRow{"USER", 0, "1", false}, FlagsRow{"USER", 0x10000, "1", false},
                                           FlagsRow{"USER", 0x20000, "1", true}, FlagsRow{"USER", 0x40000, "3", false},
                                           FlagsRow{"USER", 0x60000, "3", true}, FlagsRow{"USER", 0x80000, "1", false},
                                           FlagsRow{"USER", 0xF00000, "1", false}, FlagsRow{"SO", 0, "1", false},
                                           FlagsRow{"SO", 0x100000, "1", false}, FlagsRow{"SO", 0x200000, "1", true},
                                           FlagsRow{"SO", 0x400000, "3", false}, FlagsRow{"SO", 0x600000, "3", true},
                                           FlagsRow{"SO", 0x800000, "1", false}, FlagsRow{"SO", 0x0F0000, "1", false}));

TEST_F(AuthenticatorState, aBlockedPinIsBlockedInAnySessionState) {
    startWithReader();
    fake.setTokenFlags(kSlot, 0x440000);
    for (const CK_STATE state : {CK_STATE{0}, CK_STATE{3}, CK_STATE{4}, CK_STATE{5}}) {
        fake.setSessionState(state);
        expectOutputs(execute(kScript, pinId("USER")), stateIs("3"));
        expectOutputs(execute(kScript, pinId("SO")), stateIs("3"));
    }
}

TEST_F(AuthenticatorState, countersOfTheTokenAreSeen) {
    startWithReader();
    fake.setTries(Fake::Role::User, 1);
    expectOutputs(execute(kScript, pinId("USER")), lastTryAt("2"));
    expectOutputs(execute(kScript, pinId("SO")), stateIs("2"));
    fake.setTries(Fake::Role::User, 0);
    expectOutputs(execute(kScript, pinId("USER")), stateIs("3"));
    fake.setTries(Fake::Role::SecurityOfficer, 1);
    expectOutputs(execute(kScript, pinId("SO")), lastTryAt("2"));
}

} // namespace Conformance::CardStateTests
