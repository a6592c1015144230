// "changeAuthenticator". Whose stored PIN serves which role is told in Roles_test.cpp.

#include "tests/conformance/PinTest.h"

namespace Conformance::ChangeAuthenticatorTests {

using Fake::Function;
using Fake::Role;

namespace {

const std::string kScript = "changeAuthenticator";
constexpr CK_FLAGS kReadWrite = 2;
constexpr CK_USER_TYPE kSo = 0;
constexpr CK_USER_TYPE kUser = 1;
constexpr unsigned kNoSession = 0xFFFFFFFF;
constexpr const char* kNewPinHex = "35363738";
constexpr const char* kWrongPinHex = "39393939";

Params pinId(const std::string& role) {
    return Params().plain("PINID", role);
}

Params pins(const std::string& oldPin = kUserPinHex, const std::string& newPin = kNewPinHex) {
    return Params().hex("OLD_PIN", oldPin).hex("NEW_PIN", newPin);
}

Params change(const std::string& role) {
    return pinId(role).append(pins(role == "SO" ? kSoPinHex : kUserPinHex));
}

std::string message(const std::string& text) {
    return "PKCS11Client::changeAuthenticator: " + text;
}

/// The announcement; both lines are level 2 here.
Trace asking(unsigned session) {
    return {{2, "PKCS11Client::changeAuthenticator: C_GetSessionInfo"},
            {2, textf("PKCS11Client::changeAuthenticator: --> hSession=0x%x", session)}};
}

Trace setPin(CK_SESSION_HANDLE session) {
    return sessionCall(kScript, "C_SetPIN", session);
}

/// Login, C_SetPIN, logout: all went well.
Trace changing(CK_SESSION_HANDLE session, CK_USER_TYPE userType) {
    return loginTrace(kScript, session, userType) + setPin(session) + logoutTrace(kScript, session);
}

} // namespace

class ChangeAuthenticator : public PinTest {};

// The whole road

TEST_F(ChangeAuthenticator, withoutSessionOneIsOpenedAndTheLoginUndone) {
    startWithReader();
    const Params params = change("USER");

    const Result result = execute(kScript, params);

    expectOutputs(result, {done()});
    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)",
                 "C_SetPIN(0x1, 31323334, 35363738)", "C_Logout(0x1)"});
    expectTrace(executeTrace(kScript, params.ids(),
                             asking(kNoSession) + openSessionTrace(kReadWrite, 1) + changing(1, kUser), result));
    EXPECT_EQ(fake.userPin(), "5678");
    EXPECT_EQ(fake.login(), Role::Nobody);
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(ChangeAuthenticator, theOfficersPinIsChangedTheSameWay) {
    startWithReader();
    const Params params = change("SO");

    const Result result = execute(kScript, params);

    expectOutputs(result, {done()});
    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)",
                 "C_SetPIN(0x1, 3132333435363738, 35363738)", "C_Logout(0x1)"});
    expectTrace(executeTrace(kScript, params.ids(),
                             asking(kNoSession) + openSessionTrace(kReadWrite, 1) + changing(1, kSo), result));
    EXPECT_EQ(fake.soPin(), "5678");
    EXPECT_EQ(fake.userPin(), "1234");
}

TEST_F(ChangeAuthenticator, aLoginOfTheAskedRoleIsUsedAndKept) {
    startWithSession(Role::User);

    expectOutputs(runScript(kScript, change("USER")), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_SetPIN(0x1, 31323334, 35363738)"});
    expectTrace(entry(kScript) + asking(1) + sessionInfoTrace(kScript, 0x11, CKS_RW_USER_FUNCTIONS, 6) + setPin(1) +
                leave(kScript));
    EXPECT_EQ(fake.login(), Role::User);
}

TEST_F(ChangeAuthenticator, theOfficersLoginIsUsedAndKept) {
    startWithSession(Role::SecurityOfficer);

    expectOutputs(runScript(kScript, change("SO")), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_SetPIN(0x1, 3132333435363738, 35363738)"});
    EXPECT_EQ(fake.login(), Role::SecurityOfficer);
}

TEST_F(ChangeAuthenticator, onAPublicSessionTheRoleIsLoggedInAndOut) {
    startWithSession(Role::Nobody);

    expectOutputs(runScript(kScript, change("USER")), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)", "C_SetPIN(0x1, 31323334, 35363738)",
                 "C_Logout(0x1)"});
    expectTrace(entry(kScript) + asking(1) + sessionInfoTrace(kScript, 0x11, CKS_RW_PUBLIC_SESSION, 6) +
                changing(1, kUser) + leave(kScript));
}

TEST_F(ChangeAuthenticator, aReadOnlySessionIsReplaced) {
    startWithReader(Params().plain("AUTH_TYPE", "STATIC").hex("PIN", kUserPinHex));
    fake.hook<Function::C_OpenSession>(
        [this](CK_SLOT_ID slot, CK_FLAGS, void* application, CK_NOTIFY notify, CK_SESSION_HANDLE* session) {
            return fake.honest().C_OpenSession(slot, CKF_SERIAL_SESSION, application, notify, session);
        });
    run("authenticate");
    fake.unhook(Function::C_OpenSession);

    expectOutputs(runScript(kScript, change("USER")), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_CloseSession(0x1)",
                 "C_OpenSession(0x11, flags=0x6)", "C_Login(0x2, CKU_USER, 31323334)",
                 "C_SetPIN(0x2, 31323334, 35363738)", "C_Logout(0x2)"});
    expectTrace(entry(kScript) + asking(1) + sessionInfoTrace(kScript, 0x11, CKS_RO_USER_FUNCTIONS, 4) +
                replaceSessionTrace(1, CKS_RO_USER_FUNCTIONS, 2) + changing(2, kUser) + leave(kScript));
}

TEST_F(ChangeAuthenticator, aStaleSessionIsReplaced) {
    startWithSession(Role::User);
    fake.dropSessions();

    expectOutputs(execute(kScript, change("USER")), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_CloseSession(0x1)",
                 "C_OpenSession(0x11, flags=0x6)", "C_Login(0x2, CKU_USER, 31323334)",
                 "C_SetPIN(0x2, 31323334, 35363738)", "C_Logout(0x2)"});
    expectTraceAt(1, failed("openSession", "C_CloseSession", 0xB3));
}

// What the session's state asks for

struct ChangeRow {
    CK_STATE state;
    const char* role;
    bool opens;
    bool logsIn;
};

class ChangeByState : public ChangeAuthenticator, public ::testing::WithParamInterface<ChangeRow> {};

TEST_P(ChangeByState, theSessionStateDecides) {
    const ChangeRow row = GetParam();
    const std::string role = row.role;
    startWithSession(Role::Nobody);
    fake.setSessionState(row.state);
    fake.answerNext(Function::C_Login, CKR_OK);
    fake.answerNext(Function::C_SetPIN, CKR_OK);
    fake.answerNext(Function::C_Logout, CKR_OK);

    expectOutputs(execute(kScript, change(role)), {done()});

    const std::string session = row.opens ? "0x2" : "0x1";
    const std::string pin = role == "SO" ? kSoPinHex : kUserPinHex;
    std::vector<std::string> expected = {"C_GetSessionInfo(0x1)"};
    if (row.opens) {
        expected.insert(expected.end(),
                        {"C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)"});
    }
    if (row.logsIn) {
        expected.push_back("C_Login(" + session + ", CKU_" + role + ", " + pin + ")");
    }
    expected.push_back("C_SetPIN(" + session + ", " + pin + ", 35363738)");
    if (row.logsIn) {
        expected.push_back("C_Logout(" + session + ")");
    }
    expectCalls(expected);
}

INSTANTIATE_TEST_SUITE_P(States, ChangeByState,
                         ::testing::Values(ChangeRow{CKS_RO_PUBLIC_SESSION, "USER", true, true},
                                           ChangeRow{CKS_RO_PUBLIC_SESSION, "SO", true, true},
                                           ChangeRow{CKS_RO_USER_FUNCTIONS, "USER", true, true},
                                           ChangeRow{CKS_RO_USER_FUNCTIONS, "SO", true, true},
                                           ChangeRow{CKS_RW_PUBLIC_SESSION, "USER", false, true},
                                           ChangeRow{CKS_RW_PUBLIC_SESSION, "SO", false, true},
                                           ChangeRow{CKS_RW_USER_FUNCTIONS, "USER", false, false},
                                           ChangeRow{CKS_RW_USER_FUNCTIONS, "SO", false, true},
                                           ChangeRow{CKS_RW_SO_FUNCTIONS, "SO", false, false},
                                           ChangeRow{CKS_RW_SO_FUNCTIONS, "USER", false, true}));

TEST_F(ChangeAuthenticator, anUnknownStateEndsIt) {
    startWithSession(Role::User);
    for (const CK_STATE state : {static_cast<CK_STATE>(5), static_cast<CK_STATE>(33005), static_cast<CK_STATE>(-1)}) {
        fake.setSessionState(state);
        expectOutputs(runScript(kScript, change("USER")), {errorIs("80ed")});
        expectCalls({"C_GetSessionInfo(0x1)"});
        expectTrace(entry(kScript) + asking(1) + sessionInfoTrace(kScript, 0x11, state, 6) + leave(kScript));
    }
}

TEST_F(ChangeAuthenticator, anotherRolesLoginStandsInTheWayAndIsLoggedOut) {
    startWithSession(Role::User);

    expectOutputs(runScript(kScript, change("SO")), {errorIs("80f1")});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_SO, 3132333435363738)", "C_Logout(0x1)"});
    expectTrace(entry(kScript) + asking(1) + sessionInfoTrace(kScript, 0x11, CKS_RW_USER_FUNCTIONS, 6) +
                loginTrace(kScript, 1, kSo) + failed(kScript, "C_Login", 0x104) + logoutTrace(kScript, 1) +
                leave(kScript));
    EXPECT_EQ(fake.login(), Role::Nobody);
}

// Failures of the token

TEST_F(ChangeAuthenticator, aSessionThatCannotBeOpenedEndsIt) {
    startWithReader();
    fake.answerNext(Function::C_OpenSession, CKR_TOKEN_NOT_PRESENT);

    expectOutputs(runScript(kScript, change("USER")), {errorIs("80eb")});

    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)"});
    expectTrace(entry(kScript) + asking(kNoSession) +
                openSessionTrace(kReadWrite, static_cast<CK_SESSION_HANDLE>(-1), 0x11, 0xE0) +
                failed(kScript, "openSession", 0xE0) + leave(kScript));
}

TEST_F(ChangeAuthenticator, aReadOnlySessionThatCannotBeReplacedEndsIt) {
    startWithSession(Role::Nobody);
    fake.setSessionState(CKS_RO_PUBLIC_SESSION);
    fake.answerNext(Function::C_OpenSession, CKR_SESSION_COUNT);

    expectOutputs(execute(kScript, change("USER")), {errorIs("80fe")});

    expectCalls(
        {"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)"});
    expectTraceAt(1, failed("openSession", "C_OpenSession", 0xB1) + failed(kScript, "openSession", 0xB1));
}

TEST_F(ChangeAuthenticator, aSessionThatCannotBeAskedEndsIt) {
    startWithSession(Role::Nobody);
    fake.answerNext(Function::C_GetSessionInfo, CKR_DEVICE_ERROR);

    expectOutputs(runScript(kScript, change("USER")), {errorIs("80fa")});

    expectCalls({"C_GetSessionInfo(0x1)"});
    expectTrace(entry(kScript) + asking(1) + failedTight(kScript, "C_GetSessionInfo", 0x30) + leave(kScript));
}

TEST_F(ChangeAuthenticator, aClosedSessionIsNotAnInvalidHandle) {
    startWithSession(Role::Nobody);
    fake.answerNext(Function::C_GetSessionInfo, CKR_SESSION_CLOSED);
    expectOutputs(execute(kScript, change("USER")), {errorIs("80fd")});
    expectCalls({"C_GetSessionInfo(0x1)"});
}

TEST_F(ChangeAuthenticator, aWrongOldPinEndsInALogoutAllTheSame) {
    fake.setTries(Role::User, 2);
    startWithReader();
    const Params params = pinId("USER").append(pins(kWrongPinHex));

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ee")}); // nothing about the last try
    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 39393939)",
                 "C_Logout(0x1)"});
    expectTrace(executeTrace(kScript, params.ids(),
                             asking(kNoSession) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) +
                                 failed(kScript, "C_Login", 0xA0) + logoutTrace(kScript, 1, 0x101),
                             result));
    EXPECT_EQ(fake.userPin(), "1234");
}

TEST_F(ChangeAuthenticator, aNewPinThatIsRefusedEndsInALogout) {
    startWithReader();

    expectOutputs(runScript(kScript, pinId("USER").append(pins(kUserPinHex, "31"))), {errorIs("80fc")});

    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)",
                 "C_SetPIN(0x1, 31323334, 31)", "C_Logout(0x1)"});
    expectTrace(entry(kScript) + asking(kNoSession) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) +
                setPin(1) + failed(kScript, "C_SetPIN", 0xA2) + logoutTrace(kScript, 1) + leave(kScript));
}

TEST_F(ChangeAuthenticator, onAKeptLoginARefusedPinLogsNobodyOut) {
    startWithSession(Role::User);
    expectOutputs(execute(kScript, pinId("USER").append(pins(kWrongPinHex))), {errorIs("80ee")});
    expectCalls({"C_GetSessionInfo(0x1)", "C_SetPIN(0x1, 39393939, 35363738)"});
    expectTraceAt(1, failed(kScript, "C_SetPIN", 0xA0));
    EXPECT_EQ(fake.login(), Role::User);
}

TEST_F(ChangeAuthenticator, aFailedLogoutDoesNotChangeTheResult) {
    startWithReader();
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);

    expectOutputs(runScript(kScript, change("USER")), {done()});

    expectTrace(entry(kScript) + asking(kNoSession) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) +
                setPin(1) + logoutTrace(kScript, 1, 0x30) + leave(kScript));
    EXPECT_EQ(storedUserPin(), kNewPinHex);
}

TEST_F(ChangeAuthenticator, aFailedLogoutDoesNotHideWhatFailedBefore) {
    startWithReader();
    fake.answerNext(Function::C_SetPIN, CKR_PIN_INVALID);
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);
    expectOutputs(execute(kScript, change("USER")), {errorIs("80ee")});
    expectTraceAt(1, failed(kScript, "C_SetPIN", 0xA1) + failed(kScript, "C_Logout", 0x30));
}

TEST_F(ChangeAuthenticator, aModuleWithoutSetPinIsReported) {
    startWithReader();
    fake.setNullEntry(Function::C_SetPIN);
    expectOutputs(execute(kScript, change("USER")), {errorIs("80f4")});
    expectTraceAt(1, failed(kScript, "C_SetPIN", 0x54));
    EXPECT_EQ(fake.login(), Role::Nobody);
}

// What stays

TEST_F(ChangeAuthenticator, theUsersNewPinIsStoredForLaterLogins) {
    startWithReader(Params().hex("PIN", kUserPinHex));
    expectOutputs(runScript(kScript, change("USER")), {done()});
    EXPECT_EQ(storedUserPin(), kNewPinHex);
}

TEST_F(ChangeAuthenticator, theStoredPinIsTheUsers) {
    startWithReader(Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "SO").hex("PIN", kSoPinHex));
    expectOutputs(runScript(kScript, change("USER")), {done()});
    forget();

    expectOutputs(runScript("authenticate", Params::null()), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 35363738)"});
}

TEST_F(ChangeAuthenticator, theOfficersNewPinIsNotStored) {
    startWithReader(Params().hex("PIN", kUserPinHex));
    expectOutputs(runScript(kScript, change("SO")), {done()});
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

TEST_F(ChangeAuthenticator, afterAFailureTheStoredPinStays) {
    startWithReader(Params().hex("PIN", kUserPinHex));
    expectOutputs(execute(kScript, pinId("USER").append(pins(kUserPinHex, "31"))), {errorIs("80fc")});
    expectOutputs(execute(kScript, pinId("USER").append(pins(kWrongPinHex))), {errorIs("80ee")});
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

// Its own reading of the parameters

TEST_F(ChangeAuthenticator, everythingMayComeFromTheAccessParameters) {
    startWithReader(change("SO"));
    expectOutputs(execute(kScript), {done()});
    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)",
                 "C_SetPIN(0x1, 3132333435363738, 35363738)", "C_Logout(0x1)"});
}

TEST_F(ChangeAuthenticator, anEmptyListIsAsGoodAsNone) {
    startWithReader(change("USER"));
    expectOutputs(execute(kScript, Params()), {done()});
    EXPECT_EQ(fake.userPin(), "5678");
}

TEST_F(ChangeAuthenticator, oldPinFromTheAccessParametersAndNewPinFromTheOperation) {
    startWithReader(Params().hex("OLD_PIN", kUserPinHex));
    expectOutputs(execute(kScript, Params().hex("NEW_PIN", kNewPinHex)), {done()});
    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)",
                 "C_SetPIN(0x1, 31323334, 35363738)", "C_Logout(0x1)"});
}

TEST_F(ChangeAuthenticator, newPinFromTheAccessParametersAndOldPinFromTheOperation) {
    startWithReader(Params().hex("NEW_PIN", kNewPinHex));
    expectOutputs(execute(kScript, Params().hex("OLD_PIN", kUserPinHex)), {done()});
    EXPECT_EQ(fake.userPin(), "5678");
}

TEST_F(ChangeAuthenticator, theOperationsPinsStandBeforeTheAccessPins) {
    startWithReader(pins(kWrongPinHex, "36363636"));
    expectOutputs(runScript(kScript, pins()), {done()});
    EXPECT_EQ(fake.userPin(), "5678");
}

TEST_F(ChangeAuthenticator, withoutOldPinItIsRefused) {
    startWithReader();
    const Params params = pinId("USER").hex("NEW_PIN", kNewPinHex);

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kScript, params.ids(),
                             Trace{{1, "PKCS11Client::changeAuthenticator: OLD_PIN parameter not found"}}, result));
}

TEST_F(ChangeAuthenticator, withoutNewPinItIsRefused) {
    startWithReader();
    const Params params = pinId("USER").hex("OLD_PIN", kUserPinHex);

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kScript, params.ids(),
                             Trace{{1, "PKCS11Client::changeAuthenticator: NEW_PIN parameter not found"}}, result));
}

TEST_F(ChangeAuthenticator, theOldPinIsMissedFirst) {
    startWithReader();
    expectRefused(execute(kScript), message("OLD_PIN parameter not found"));
    expectRefused(execute(kScript, Params()), message("OLD_PIN parameter not found"));
    expectRefused(execute(kScript, Params().hex("PIN", kUserPinHex)), message("OLD_PIN parameter not found"));
    expectRefused(execute(kScript, Params().hex("old_pin", kUserPinHex).hex("new_pin", kNewPinHex)),
                  message("OLD_PIN parameter not found"));
}

TEST_F(ChangeAuthenticator, pinsThatDoNotDecodeCountAsNotGiven) {
    startWithReader();
    for (const std::string pin : {"", "pin", "313"}) {
        expectRefused(execute(kScript, pins(pin)), message("OLD_PIN parameter not found"));
        expectRefused(execute(kScript, pins(kUserPinHex, pin)), message("NEW_PIN parameter not found"));
    }
}

TEST_F(ChangeAuthenticator, emptyPinsOfTheOperationTakeTheAccessPinsPlaces) {
    for (const std::string role : {"USER", "SO"}) {
        SCOPED_TRACE(role);
        startWithReader(change(role));
        expectRefused(execute(kScript, pinId(role).hex("OLD_PIN", "")), message("OLD_PIN parameter not found"));
        plugin.free();
        fake.reset();

        startWithReader(change(role));
        expectRefused(execute(kScript, pinId(role).hex("NEW_PIN", "")), message("NEW_PIN parameter not found"));
        plugin.free();
        fake.reset();
    }
}

TEST_F(ChangeAuthenticator, anEmptyOldPinOfTheOperationIsForTheRoleThatItNames) {
    startWithReader(change("SO"));
    expectRefused(execute(kScript, pinId("USER").hex("OLD_PIN", "")), message("OLD_PIN parameter not found"));
}

TEST_F(ChangeAuthenticator, anOldPinOfTheOtherRoleIsNotUsed) {
    startWithReader(Params().plain("PINID", "SO").hex("OLD_PIN", kSoPinHex));
    const Params params = pinId("USER").hex("NEW_PIN", kNewPinHex);

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(
        executeTrace(kScript, params.ids(),
                     Trace{{1, "PKCS11Client::changeAuthenticator: the PIN is provided in accessParam (not in a script "
                               "parameter) but script PINID (0x01) different from runtime PINID(0x00)"}},
                     result));
}

TEST_F(ChangeAuthenticator, ofRepeatedParametersTheLastCounts) {
    startWithReader();
    const Params params = pinId("SO").append(pins(kWrongPinHex, "36363636")).append(change("USER"));
    expectOutputs(runScript(kScript, params), {done()});
    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)",
                 "C_SetPIN(0x1, 31323334, 35363738)", "C_Logout(0x1)"});
}

TEST_F(ChangeAuthenticator, pinsAreTheTextAsItStandsWhateverTheirEncodingSays) {
    startWithReader();
    expectOutputs(execute(kScript, Params().base64("OLD_PIN", kUserPinHex).base64("NEW_PIN", "abcdEF01")), {done()});
    expectCalls({"C_GetSessionInfo(none)", "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)",
                 "C_SetPIN(0x1, 31323334, ABCDEF01)", "C_Logout(0x1)"});
    EXPECT_EQ(storedUserPin(), "ABCDEF01");
}

TEST_F(ChangeAuthenticator, decodedPinsServeThroughTheAccessValues) {
    startWithReader();
    expectOutputs(execute(kScript, Params().bytes("OLD_PIN", kUserPinHex).bytes("NEW_PIN", kNewPinHex)), {done()});
    EXPECT_EQ(fake.userPin(), "5678");
}

TEST_F(ChangeAuthenticator, noTraceShowsAPin) {
    startWithReader();
    static_cast<void>(execute(kScript, change("USER")));
    static_cast<void>(execute(kScript, pinId("SO").append(pins("7172737475", "xyz"))));
    static_cast<void>(execute(kScript, pinId("SO").append(pins("wxyz", kNewPinHex))));
    for (const TraceLine& line : trace().lines) {
        for (const std::string pin : {"31323334", "35363738", "7172737475", "qrstu"}) {
            EXPECT_EQ(line.text.find(pin), std::string::npos) << line.text;
        }
        EXPECT_EQ(line.dump, std::nullopt);
    }
}

} // namespace Conformance::ChangeAuthenticatorTests
