// "authenticate". Whose PIN serves which role is told in Roles_test.cpp.

#include "tests/conformance/PinTest.h"

namespace Conformance::AuthenticateTests {

using Fake::Function;
using Fake::Role;

namespace {

const std::string kScript = "authenticate";
constexpr CK_FLAGS kReadWrite = 2;
constexpr CK_USER_TYPE kSo = 0;
constexpr CK_USER_TYPE kUser = 1;
const Output kLastTry = {"LEFTPINTRY", 2, 3, "1"};

Params staticPin(const std::string& role, const std::string& pin) {
    return Params().plain("AUTH_TYPE", "STATIC").plain("PINID", role).hex("PIN", pin);
}

std::string message(const std::string& text) {
    return "PKCS11Client::authenticate: " + text;
}

} // namespace

class Authenticate : public PinTest {};

// The whole road

TEST_F(Authenticate, logsTheUserInOnAReadWriteSession) {
    startWithReader();
    const Params params = staticPin("USER", kUserPinHex);

    const Result result = execute(kScript, params);

    expectOutputs(result, {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(
        executeTrace(kScript, params.ids(), openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser), result));
    EXPECT_EQ(fake.login(), Role::User);
}

TEST_F(Authenticate, logsTheOfficerIn) {
    startWithReader();
    const Params params = staticPin("SO", kSoPinHex);

    const Result result = execute(kScript, params);

    expectOutputs(result, {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)"});
    expectTrace(
        executeTrace(kScript, params.ids(), openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kSo), result));
    EXPECT_EQ(fake.login(), Role::SecurityOfficer);
}

TEST_F(Authenticate, everythingMayComeFromTheAccessParameters) {
    startWithReader(staticPin("USER", kUserPinHex));

    const Result result = execute(kScript);

    expectOutputs(result, {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(
        executeTrace(kScript, std::nullopt, openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser), result));
}

TEST_F(Authenticate, anEmptyListIsAsGoodAsNone) {
    startWithReader(staticPin("SO", kSoPinHex));
    expectOutputs(execute(kScript, Params()), {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)"});
}

TEST_F(Authenticate, withoutAnyPinIdItIsTheUser) {
    startWithReader();
    expectOutputs(execute(kScript, Params().plain("AUTH_TYPE", "STATIC").hex("PIN", kUserPinHex)), {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
}

TEST_F(Authenticate, theAuthenticationTypeOfAnEarlierOperationStands) {
    startWithReader();
    run("beginSynchronization", Params().plain("AUTH_TYPE", "STATIC"));
    expectOutputs(execute(kScript, Params().hex("PIN", kUserPinHex)), {done()});
}

TEST_F(Authenticate, anOpenReadWriteSessionIsKept) {
    startWithSession(Role::Nobody);

    expectOutputs(runScript(kScript, staticPin("USER", kUserPinHex)), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(entry(kScript) + keepSessionTrace(1, CKS_RW_PUBLIC_SESSION, 6) + loginTrace(kScript, 1, kUser) +
                leave(kScript));
}

TEST_F(Authenticate, aReadOnlySessionIsReplaced) {
    startWithSession(Role::Nobody);
    fake.setSessionState(CKS_RO_PUBLIC_SESSION);

    expectOutputs(execute(kScript, staticPin("USER", kUserPinHex)), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)",
                 "C_Login(0x2, CKU_USER, 31323334)"});
}

// Its own reading of the parameters

TEST_F(Authenticate, aWrongAuthenticationTypeIsReportedAsAPinId) {
    startWithReader();
    const Params params = Params().plain("AUTH_TYPE", "DYNAMIC").plain("PINID", "USER").hex("PIN", kUserPinHex);

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kScript, params.ids(),
                             Trace{{1, "PKCS11Client::authenticate: Bad parameter PINID: DYNAMIC"}}, result));
}

TEST_F(Authenticate, theAuthenticationTypeIsComparedExactly) {
    startWithReader(staticPin("USER", kUserPinHex));
    expectRefused(execute(kScript, Params().plain("AUTH_TYPE", "static")), message("Bad parameter PINID: static"));
    expectRefused(execute(kScript, Params().plain("AUTH_TYPE", "")), message("Bad parameter PINID: "));
    expectRefused(execute(kScript, Params().plain("AUTH_TYPE", "STATIC ")), message("Bad parameter PINID: STATIC "));
}

TEST_F(Authenticate, everyElementIsLookedAt) {
    startWithReader(staticPin("USER", kUserPinHex));
    expectRefused(runScript(kScript, Params().plain("AUTH_TYPE", "STATIC").plain("AUTH_TYPE", "X")),
                  message("Bad parameter PINID: X"));
    expectRefused(runScript(kScript, Params().plain("AUTH_TYPE", "X").plain("AUTH_TYPE", "STATIC")),
                  message("Bad parameter PINID: X"));
}

TEST_F(Authenticate, withoutAuthenticationTypeItIsRefused) {
    startWithReader();
    const Params params = Params().plain("PINID", "USER").hex("PIN", kUserPinHex);

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kScript, params.ids(),
                             Trace{{1, "PKCS11Client::authenticate: AUTH_TYPE parameter not found"}}, result));
}

TEST_F(Authenticate, identifiersAreComparedExactly) {
    startWithReader();
    expectRefused(execute(kScript, Params().plain("auth_type", "STATIC").plain("AuthType", "STATIC")),
                  message("AUTH_TYPE parameter not found"));
    expectRefused(execute(kScript, Params().plain("AUTH_TYPE", "STATIC").hex("Pin", kUserPinHex)),
                  message("PIN parameter not found"));
}

TEST_F(Authenticate, anAccessAuthenticationTypeOtherThanStaticIsNone) {
    startWithReader(Params().plain("AUTH_TYPE", "DYNAMIC").hex("PIN", kUserPinHex));
    expectRefused(execute(kScript), message("AUTH_TYPE parameter not found"));
}

TEST_F(Authenticate, withoutPinItIsRefused) {
    startWithReader();
    const Params params = Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(
        executeTrace(kScript, params.ids(), Trace{{1, "PKCS11Client::authenticate: PIN parameter not found"}}, result));
}

TEST_F(Authenticate, theAuthenticationTypeIsMissedBeforeThePin) {
    startWithReader();
    expectRefused(execute(kScript), message("AUTH_TYPE parameter not found"));
}

TEST_F(Authenticate, aPinOfTheOtherRoleIsNotUsed) {
    startWithReader(staticPin("SO", kSoPinHex));
    const Params params = Params().plain("PINID", "USER");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(
        kScript, params.ids(),
        Trace{{1, "PKCS11Client::authenticate: the PIN is provided in accessParam (not in a script parameter) "
                  "but script PINID (0x01) different from runtime PINID(0x00)"}},
        result));
}

TEST_F(Authenticate, anEmptyPinOfTheOperationTakesTheAccessPinsPlace) {
    for (const std::string role : {"USER", "SO"}) {
        SCOPED_TRACE(role);
        startWithReader(staticPin(role, role == "SO" ? kSoPinHex : kUserPinHex));
        const Params params = Params().plain("PINID", role).hex("PIN", "");

        const Result result = execute(kScript, params);

        expectOutputs(result, {errorIs("80ec")});
        expectCalls({});
        expectTrace(executeTrace(kScript, params.ids(),
                                 Trace{{1, "PKCS11Client::authenticate: PIN parameter not found"}}, result));
        plugin.free();
        fake.reset();
    }
}

TEST_F(Authenticate, anEmptyPinOfTheOperationIsForTheRoleThatItNames) {
    // It takes the officer's place as the stored PIN, so no PIN of another role is in question.
    startWithReader(staticPin("SO", kSoPinHex));
    expectRefused(execute(kScript, Params().plain("PINID", "USER").hex("PIN", "")), message("PIN parameter not found"));
}

TEST_F(Authenticate, anEmptyPinWithoutRoleTakesTheAccessPinsPlaceForGood) {
    startWithReader(staticPin("USER", kUserPinHex));
    expectRefused(execute(kScript, Params().hex("PIN", "")), message("PIN parameter not found"));
    expectRefused(execute(kScript), message("PIN parameter not found"));
}

TEST_F(Authenticate, theRuntimePinStandsBeforeTheAccessPin) {
    startWithReader(staticPin("USER", "39393939"));
    expectOutputs(runScript(kScript, Params().hex("PIN", kUserPinHex)), {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
}

TEST_F(Authenticate, ofTwoPinsTheLastCounts) {
    startWithReader();
    expectOutputs(execute(kScript, staticPin("USER", "39393939").hex("PIN", kUserPinHex)), {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
}

TEST_F(Authenticate, thePinIsTheTextAsItStandsWhateverItsEncodingSays) {
    // The Base64 text 31323334 would be DF5DB7DF7DF8.
    startWithReader();
    const Params params = Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").base64("PIN", kUserPinHex);

    expectOutputs(execute(kScript, params), {done()});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

TEST_F(Authenticate, evenATextThatStandsForItsBytesIsTakenAsItStands) {
    startWithReader();
    expectOutputs(execute(kScript, Params().plain("AUTH_TYPE", "STATIC").text("PIN", "1234")), {errorIs("80ee")});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 1234)", "C_GetTokenInfo(0x11)"});
}

TEST_F(Authenticate, aTextThatIsNotHexadecimalServesThroughTheAccessValue) {
    fake.setUserPin("PIN!");
    startWithReader();
    expectOutputs(execute(kScript, Params().plain("AUTH_TYPE", "STATIC").text("PIN", "PIN!")), {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 50494E21)"});
}

TEST_F(Authenticate, plainPinsAreHexadecimalTextToo) {
    fake.setUserPin("\xAB\xCD\xEF\x01");
    startWithReader();
    const Params params = Params().plain("AUTH_TYPE", "STATIC").plain("PIN", "abcdEF01");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, ABCDEF01)"});
    EXPECT_EQ(storedUserPin(), "ABCDEF01");
}

TEST_F(Authenticate, aPinWithZeroBytesIsWhole) {
    fake.setUserPin(std::string("\0\0\x31\0", 4));
    startWithReader();
    expectOutputs(execute(kScript, staticPin("USER", "00003100")), {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 00003100)"});
    EXPECT_EQ(storedUserPin(), "00003100");
}

TEST_F(Authenticate, aLongPinIsWhole) {
    std::string pin;
    for (int i = 0; i < 3000; ++i) {
        pin += "41";
    }
    startWithReader();
    expectOutputs(execute(kScript, staticPin("USER", pin)), {errorIs("80ee")});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, " + pin + ")", "C_GetTokenInfo(0x11)"});
}

// The session

TEST_F(Authenticate, aSessionThatCannotBeOpenedEndsIt) {
    startWithReader();
    fake.answerNext(Function::C_OpenSession, CKR_SESSION_COUNT);

    expectOutputs(runScript(kScript, staticPin("USER", kUserPinHex)), {errorIs("80fe")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)"});
    expectTrace(entry(kScript) + openSessionTrace(kReadWrite, static_cast<CK_SESSION_HANDLE>(-1), 0x11, 0xB1) +
                failed(kScript, "openSession", 0xB1) + leave(kScript));
}

TEST_F(Authenticate, withoutAResolvedReaderTheModuleAnswers) {
    start();
    expectOutputs(execute(kScript, staticPin("USER", kUserPinHex)), {errorIs("80e9")});
    expectCalls({"C_OpenSession(none, flags=0x6)"});
}

TEST_F(Authenticate, aSessionThatCannotBeAskedEndsIt) {
    startWithSession(Role::Nobody);
    fake.answerNext(Function::C_GetSessionInfo, CKR_DEVICE_ERROR);

    expectOutputs(execute(kScript, staticPin("USER", kUserPinHex)), {errorIs("80fa")});

    expectCalls({"C_GetSessionInfo(0x1)"});
    expectTraceAt(1, failedTight("openSession", "C_GetSessionInfo", 0x30) + failed(kScript, "openSession", 0x30));
}

// Somebody is logged in already

TEST_F(Authenticate, theUserWhoIsLoggedInIsLoggedOutAndInAgain) {
    startWithSession(Role::User);

    expectOutputs(runScript(kScript, staticPin("USER", kUserPinHex)), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)", "C_Logout(0x1)",
                 "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(entry(kScript) + keepSessionTrace(1, CKS_RW_USER_FUNCTIONS, 6) + loginTrace(kScript, 1, kUser) +
                logoutTrace(kScript, 1) + loginTrace(kScript, 1, kUser) + leave(kScript));
}

TEST_F(Authenticate, theOfficerWhoIsLoggedInMakesWayForTheUser) {
    startWithSession(Role::SecurityOfficer);

    expectOutputs(runScript(kScript, staticPin("USER", kUserPinHex)), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)", "C_Logout(0x1)",
                 "C_Login(0x1, CKU_USER, 31323334)"});
    EXPECT_EQ(fake.login(), Role::User);
}

TEST_F(Authenticate, theUserWhoIsLoggedInMakesWayForTheOfficer) {
    startWithSession(Role::User);

    expectOutputs(execute(kScript, staticPin("SO", kSoPinHex)), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_SO, 3132333435363738)", "C_Logout(0x1)",
                 "C_Login(0x1, CKU_SO, 3132333435363738)"});
    EXPECT_EQ(fake.login(), Role::SecurityOfficer);
}

struct Occupied {
    CK_RV rv;
    const char* shown;
    const char* code;
};

class AuthenticateOccupied : public Authenticate, public ::testing::WithParamInterface<Occupied> {};

TEST_P(AuthenticateOccupied, thereIsOneRetryAndNoMore) {
    startWithReader();
    fake.answerNext(Function::C_Login, GetParam().rv, 2);
    fake.answerNext(Function::C_Logout, CKR_OK);

    expectOutputs(runScript(kScript, staticPin("USER", kUserPinHex)), {errorIs(GetParam().code)});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)", "C_Logout(0x1)",
                 "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(entry(kScript) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) +
                logoutTrace(kScript, 1) + loginTrace(kScript, 1, kUser) +
                Trace{{1, std::string("PKCS11Client::authenticate : C_Login ") + GetParam().shown + " : failed"}} +
                leave(kScript));
}

TEST_P(AuthenticateOccupied, aLogoutThatFailsEndsIt) {
    startWithReader();
    fake.answerNext(Function::C_Login, GetParam().rv);
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);

    expectOutputs(runScript(kScript, staticPin("USER", "39393939")), {errorIs("80fa")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 39393939)", "C_Logout(0x1)"});
    expectTrace(entry(kScript) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) +
                logoutTrace(kScript, 1, 0x30) + leave(kScript));
    EXPECT_EQ(storedUserPin(), "39393939");
}

TEST_P(AuthenticateOccupied, aWrongPinInTheSecondLoginIsAWrongPin) {
    startWithReader();
    fake.answerNext(Function::C_Login, GetParam().rv);
    fake.answerNext(Function::C_Login, CKR_PIN_INCORRECT);
    fake.answerNext(Function::C_Logout, CKR_OK);
    fake.setTries(Role::User, 1);

    expectOutputs(execute(kScript, staticPin("USER", "39393939")), {errorIs("80ee"), kLastTry});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 39393939)", "C_Logout(0x1)",
                 "C_Login(0x1, CKU_USER, 39393939)", "C_GetTokenInfo(0x11)"});
}

INSTANTIATE_TEST_SUITE_P(Answers, AuthenticateOccupied,
                         ::testing::Values(Occupied{0x100, "0x100", "80f5"}, Occupied{0x104, "0x104", "80f1"}),
                         [](const ::testing::TestParamInfo<Occupied>& answer) {
                             return std::string("answer") + answer.param.shown;
                         });

// Wrong PINs

TEST_F(Authenticate, aWrongUserPinThatLeavesOneTryIsReportedSo) {
    fake.setTries(Role::User, 2);
    startWithReader();
    const Params params = staticPin("USER", "39393939");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ee"), kLastTry});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 39393939)", "C_GetTokenInfo(0x11)"});
    expectTrace(executeTrace(kScript, params.ids(),
                             openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) + lastTryTrace(0x3040D) +
                                 failed(kScript, "C_Login", 0xA0),
                             result));
}

TEST_F(Authenticate, aWrongUserPinThatLeavesMoreTriesIsNot) {
    startWithReader();

    expectOutputs(runScript(kScript, staticPin("USER", "39393939")), {errorIs("80ee")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 39393939)", "C_GetTokenInfo(0x11)"});
    expectTrace(entry(kScript) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) +
                lastTryTrace(0x1040D) + failed(kScript, "C_Login", 0xA0) + leave(kScript));
}

TEST_F(Authenticate, theOfficersLastTryIsReportedUnderTheSameName) {
    fake.setTries(Role::SecurityOfficer, 2);
    startWithReader();

    expectOutputs(runScript(kScript, staticPin("SO", "39393939")), {errorIs("80ee"), kLastTry});

    expectTrace(entry(kScript) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kSo) +
                lastTryTrace(0x30040D) + failed(kScript, "C_Login", 0xA0) + leave(kScript));
}

TEST_F(Authenticate, onlyTheFinalTryFlagOfTheRoleCounts) {
    startWithReader();
    // COUNT_LOW and LOCKED of both, FINAL_TRY of the other.
    fake.setTokenFlags(Fake::kSlot, 0x10000 | 0x40000 | 0x100000 | 0x400000 | 0x200000, 0x20000);
    expectOutputs(execute(kScript, staticPin("USER", "39393939")), {errorIs("80ee")});
    fake.setTokenFlags(Fake::kSlot, 0x10000 | 0x40000 | 0x100000 | 0x400000 | 0x20000, 0x200000);
    expectOutputs(execute(kScript, staticPin("SO", "39393939")), {errorIs("80ee")});
}

TEST_F(Authenticate, aTokenThatGivesNoInformationDoesNotHideTheWrongPin) {
    fake.setTries(Role::User, 2);
    fake.answerAlways(Function::C_GetTokenInfo, CKR_DEVICE_ERROR);
    start();
    static_cast<void>(execute("getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex)));
    forget();

    expectOutputs(runScript(kScript, staticPin("USER", "39393939")), {errorIs("80ee")});

    expectTrace(entry(kScript) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) +
                failedLastTryTrace(0x30) + failed(kScript, "isLastTry", 0x30) + leave(kScript));
}

struct LoginFailure {
    CK_RV rv;
    const char* shown;
    const char* code;
};

class AuthenticateFails : public Authenticate, public ::testing::WithParamInterface<LoginFailure> {};

TEST_P(AuthenticateFails, anyOtherFailureIsReportedWithoutAskingForTheLastTry) {
    startWithReader();
    fake.setTokenFlags(Fake::kSlot, 0x20000);
    fake.answerNext(Function::C_Login, GetParam().rv);

    expectOutputs(runScript(kScript, staticPin("USER", kUserPinHex)), {errorIs(GetParam().code)});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(entry(kScript) + openSessionTrace(kReadWrite, 1) + loginTrace(kScript, 1, kUser) +
                Trace{{1, std::string("PKCS11Client::authenticate : C_Login ") + GetParam().shown + " : failed"}} +
                leave(kScript));
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

INSTANTIATE_TEST_SUITE_P(Answers, AuthenticateFails,
                         ::testing::Values(LoginFailure{0xA1, "0xa1", "80ee"}, LoginFailure{0xA2, "0xa2", "80fc"},
                                           LoginFailure{0xA3, "0xa3", "80ef"}, LoginFailure{0xA4, "0xa4", "80ef"},
                                           LoginFailure{0x05, "0x05", "80f7"}, LoginFailure{0x32, "0x32", "80eb"},
                                           LoginFailure{0x102, "0x102", "80f5"}, LoginFailure{0xB8, "0xb8", "8104"}),
                         [](const ::testing::TestParamInfo<LoginFailure>& answer) {
                             return std::string("answer") + answer.param.shown;
                         });

TEST_F(Authenticate, aLockedPinIsReported) {
    fake.setTries(Role::User, 0);
    startWithReader();
    expectOutputs(execute(kScript, staticPin("USER", kUserPinHex)), {errorIs("80ef")});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
}

TEST_F(Authenticate, aModuleWithoutLoginIsReported) {
    startWithReader();
    fake.setNullEntry(Function::C_Login);
    expectOutputs(execute(kScript, staticPin("USER", kUserPinHex)), {errorIs("80f4")});
    expectTraceAt(1, failed(kScript, "C_Login", 0x54));
}

// What stays

TEST_F(Authenticate, theUserPinIsRemembered) {
    startWithReader(Params().plain("AUTH_TYPE", "STATIC").hex("PIN", "39393939"));
    expectOutputs(runScript(kScript, Params().hex("PIN", kUserPinHex)), {done()});
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

TEST_F(Authenticate, theRememberedPinIsTheUsers) {
    // The officer's access role makes way for the user's.
    startWithReader(staticPin("SO", kSoPinHex));
    expectOutputs(runScript(kScript, Params().plain("PINID", "USER").hex("PIN", kUserPinHex)), {done()});
    fake.setLogin(Role::Nobody);
    forget();

    expectOutputs(runScript(kScript, Params::null()), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)"});
}

TEST_F(Authenticate, anOfficersPinIsNeverRemembered) {
    startWithReader(staticPin("USER", kUserPinHex));
    expectOutputs(runScript(kScript, Params().plain("PINID", "SO").hex("PIN", kSoPinHex)), {done()});
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

TEST_F(Authenticate, theLoginOutlivesTheScript) {
    startWithReader();
    run(kScript, staticPin("USER", kUserPinHex));
    run("beginSynchronization");
    EXPECT_EQ(fake.login(), Role::User);
    const std::vector<Fake::SessionState> sessions = fake.sessions();
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions[0].flags, 6U);
}

TEST_F(Authenticate, twoInstancesDoNotShareAPin) {
    startWithReader(Params().plain("AUTH_TYPE", "STATIC"));
    run(kScript, Params().hex("PIN", kUserPinHex));
    Executor other(creation());
    ASSERT_TRUE(other);
    EXPECT_EQ(other.initialize(Params().plain("AUTH_TYPE", "STATIC")), std::nullopt);
    forget();
    expectRefused(other.execute(kScript), message("PIN parameter not found"));
}

} // namespace Conformance::AuthenticateTests
