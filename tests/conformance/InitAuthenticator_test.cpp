// "initAuthenticator" and "unlockAuthenticator". Whose stored PIN serves which role is told in Roles_test.cpp.

#include "tests/conformance/PinTest.h"

namespace Conformance::InitAuthenticatorTests {

using Fake::Function;
using Fake::Role;

namespace {

const std::string kInit = "initAuthenticator";
const std::string kUnlock = "unlockAuthenticator";
constexpr CK_FLAGS kReadWrite = 2;
constexpr const char* kNewPinHex = "35363738";
constexpr const char* kWrongPinHex = "39393939";
const Output kLastUnlock = {"LEFTUNLOCKTRY", 2, 1, "1"};

std::string initMessage(const std::string& text) {
    return "PKCS11Client::initAuthenticator: " + text;
}

std::string unlockMessage(const std::string& text) {
    return "PKCS11Client::unlockAuthenticator: " + text;
}

/// The least that "initAuthenticator" needs besides a PIN.
Params initIds() {
    return Params().plain("PINID", "USER").plain("INIT_KEYID", "SO");
}

Params initParams() {
    return initIds().hex("INIT_KEY", kSoPinHex).hex("PIN", kNewPinHex);
}

/// The least that "unlockAuthenticator" needs besides a PIN.
Params unlockIds() {
    return Params().plain("PINID", "USER").plain("UNLOCK_TYPE", "STATIC");
}

Params unlockParams(const std::string& key = kSoPinHex) {
    return unlockIds().plain("UNLOCK_KEYID", "SO").hex("UNLOCK_KEY", key).hex("PIN", kNewPinHex);
}

Trace initPin(const std::string& method, CK_SESSION_HANDLE session) {
    return sessionCall(method, "C_InitPIN", session);
}

const std::vector<std::string> kOfficerSetsPin = {"C_OpenSession(0x11, flags=0x6)",
                                                  "C_Login(0x1, CKU_SO, 3132333435363738)", "C_InitPIN(0x1, 35363738)",
                                                  "C_Logout(0x1)"};

} // namespace

class InitAuthenticator : public PinTest {
protected:
    /// The script answers 33004, calls nothing, and names the parameter at level 1 without showing its value.
    void expectMalformed(const Result& result, const std::string& script, const std::string& parameter,
                         const std::string& value, Where where = Where::current()) {
        expectOutputs(result, {errorIs("80ec")}, where);
        expectCalls({}, where);
        const std::vector<TraceLine> lines = trace().lines;
        unsigned failures = 0;
        for (const TraceLine& line : lines) {
            EXPECT_EQ(line.text.find(value), std::string::npos) << line.text;
            if (line.level == 1) {
                ++failures;
                EXPECT_EQ(line.text.rfind("PKCS11Client::" + script, 0), 0U) << line.text;
                EXPECT_NE(line.text.find(parameter), std::string::npos) << line.text;
            }
        }
        EXPECT_EQ(failures, 1U);
        EXPECT_EQ(lines.back(), (TraceLine{16, "PKCS11Client::execute"}));
    }
};
class UnlockAuthenticator : public InitAuthenticator {};

/// A script that lets the officer set the user's PIN, and the parameter with the officer's.
struct Way {
    std::string script;
    std::string key;
    Params (*ids)();
};
void PrintTo(const Way& way, std::ostream* out) {
    *out << way.script;
}

class BothWays : public InitAuthenticator, public ::testing::WithParamInterface<Way> {
protected:
    const std::string& script() const { return GetParam().script; }
    Params params(const std::string& key = kSoPinHex, const std::string& pin = kNewPinHex) const {
        return GetParam().ids().hex(GetParam().key, key).hex("PIN", pin);
    }
    /// The lines until the token has answered C_InitPIN.
    Trace settingPin(CK_SESSION_HANDLE session = 1) const {
        return officerLoginTrace(script(), session) + initPin(script(), session);
    }
};

TEST_P(BothWays, withoutListItSaysSo) {
    startWithReader(params());

    const Result result = execute(script());

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(script(), std::nullopt,
                             Trace{{1, "PKCS11Client::" + script() + ": Bad parameter : pOpParams=NULL"}}, result));
}

TEST_P(BothWays, aStaleSessionIsReplacedBeforeTheLogin) {
    startWithSession(Role::Nobody);
    fake.dropSessions();

    expectOutputs(runScript(script(), params()), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)",
                 "C_Login(0x2, CKU_SO, 3132333435363738)", "C_InitPIN(0x2, 35363738)", "C_Logout(0x2)"});
    expectTrace(entry(script()) + replaceStaleSessionTrace(1, 2) + settingPin(2) + logoutTrace(script(), 2) +
                leave(script()));
    EXPECT_EQ(fake.userPin(), "5678");
}

TEST_P(BothWays, pinsAndKeysAreTheTextAsItStandsWhateverTheirEncodingSays) {
    startWithReader();
    expectOutputs(execute(script(), GetParam().ids().base64(GetParam().key, kSoPinHex).base64("PIN", "abcdEF01")),
                  {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)", "C_InitPIN(0x1, ABCDEF01)",
                 "C_Logout(0x1)"});
    EXPECT_EQ(storedUserPin(), "ABCDEF01");
}

TEST_P(BothWays, aKeyThatDoesNotDecodeIsMalformed) {
    startWithSession(Role::SecurityOfficer);
    for (const std::string key : {"qwertz", "7172737", "717273747G"}) {
        expectMalformed(execute(script(), params(key)), script(), GetParam().key, key);
    }
}

TEST_P(BothWays, aPinThatIsRefusedLeavesTheOfficerLoggedIn) {
    startWithReader();

    expectOutputs(runScript(script(), params(kSoPinHex, "31")), {errorIs("80fc")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)", "C_InitPIN(0x1, 31)"});
    expectTrace(entry(script()) + openSessionTrace(kReadWrite, 1) + settingPin() + failed(script(), "C_InitPIN", 0xA2) +
                leave(script()));
    EXPECT_EQ(fake.login(), Role::SecurityOfficer);
}

TEST_P(BothWays, aFailedLogoutIsReportedThoughThePinIsSetAndStored) {
    startWithReader();
    fake.answerNext(Function::C_Logout, CKR_DEVICE_REMOVED);

    expectOutputs(runScript(script(), params()), {errorIs("80eb")});

    expectTrace(entry(script()) + openSessionTrace(kReadWrite, 1) + settingPin() + logoutTrace(script(), 1, 0x32) +
                leave(script()));
    EXPECT_EQ(fake.userPin(), "5678");
    EXPECT_EQ(storedUserPin(), kNewPinHex);
}

TEST_P(BothWays, aModuleWithoutInitPinIsReported) {
    startWithReader();
    fake.setNullEntry(Function::C_InitPIN);
    expectOutputs(execute(script(), params()), {errorIs("80f4")});
    expectTraceAt(1, failed(script(), "C_InitPIN", 0x54));
}

TEST_P(BothWays, aModuleWithoutLogoutIsReportedOnceThoughThePinIsSetAndStored) {
    startWithReader();
    fake.setNullEntry(Function::C_Logout);

    expectOutputs(runScript(script(), params()), {errorIs("80f4")});

    expectCalls(
        {"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)", "C_InitPIN(0x1, 35363738)"});
    expectTrace(entry(script()) + openSessionTrace(kReadWrite, 1) + settingPin() + logoutTrace(script(), 1, 0x54) +
                leave(script()));
    EXPECT_EQ(storedUserPin(), kNewPinHex);
}

TEST_P(BothWays, thePinThatWasSetIsTheStoredPin) {
    startWithReader(Params().hex("PIN", kWrongPinHex));
    expectOutputs(runScript(script(), params()), {done()});
    EXPECT_EQ(storedUserPin(), kNewPinHex);
}

TEST_P(BothWays, theStoredPinIsTheUsers) {
    startWithReader(Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "SO").hex("PIN", kSoPinHex));
    expectOutputs(runScript(script(), params()), {done()});
    forget();

    expectOutputs(runScript("authenticate", Params::null()), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 35363738)"});
}

TEST_P(BothWays, thePinOfARefusedOperationIsTheStoredPin) {
    // It was read before the script ran; nothing takes that back.
    startWithReader(Params().hex("PIN", kUserPinHex));
    fake.answerNext(Function::C_InitPIN, CKR_PIN_INVALID);
    expectOutputs(execute(script(), params()), {errorIs("80ee")});
    EXPECT_EQ(fake.userPin(), "1234");
    EXPECT_EQ(storedUserPin(), kNewPinHex);
}

INSTANTIATE_TEST_SUITE_P(Setting, BothWays,
                         ::testing::Values(Way{kInit, "INIT_KEY", initIds}, Way{kUnlock, "UNLOCK_KEY", unlockIds}),
                         [](const auto& tested) { return tested.param.script; });

// initAuthenticator: the whole road

TEST_F(InitAuthenticator, theOfficerIsLoggedInSetsThePinAndIsLoggedOut) {
    fake.clearUserPin();
    startWithReader();
    const Params params = initParams();

    const Result result = execute(kInit, params);

    expectOutputs(result, {done()});
    expectCalls(kOfficerSetsPin);
    expectTrace(executeTrace(kInit, params.ids(),
                             openSessionTrace(kReadWrite, 1) + officerLoginTrace(kInit, 1) + initPin(kInit, 1) +
                                 logoutTrace(kInit, 1),
                             result));
    EXPECT_EQ(fake.userPin(), "5678");
    EXPECT_EQ(fake.login(), Role::Nobody);
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(InitAuthenticator, withoutKeyTheLoginOfAnEarlierScriptServesAndStays) {
    startWithSession(Role::SecurityOfficer);

    expectOutputs(runScript(kInit, initIds().hex("PIN", kNewPinHex)), {done()});

    expectCalls({"C_InitPIN(0x1, 35363738)"});
    expectTrace(entry(kInit) + initPin(kInit, 1) + leave(kInit));
    EXPECT_EQ(fake.login(), Role::SecurityOfficer);
}

TEST_F(InitAuthenticator, withoutKeyNoSessionIsOpened) {
    startWithReader();

    expectOutputs(runScript(kInit, initIds().hex("PIN", kNewPinHex)), {errorIs("80ff")});

    expectCalls({"C_InitPIN(none, 35363738)"});
    expectTrace(entry(kInit) + initPin(kInit, 0xFFFFFFFF) + failed(kInit, "C_InitPIN", 0xB3) + leave(kInit));
}

TEST_F(InitAuthenticator, anEmptyKeyIsNoKey) {
    startWithSession(Role::SecurityOfficer);
    expectOutputs(execute(kInit, initIds().hex("INIT_KEY", "").hex("PIN", kNewPinHex)), {done()});
    expectCalls({"C_InitPIN(0x1, 35363738)"});
}

TEST_F(InitAuthenticator, anOpenSessionIsKept) {
    startWithSession(Role::Nobody);
    expectOutputs(execute(kInit, initParams()), {done()});
    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_SO, 3132333435363738)", "C_InitPIN(0x1, 35363738)",
                 "C_Logout(0x1)"});
}

// initAuthenticator: its reading of the parameters

TEST_F(InitAuthenticator, anEmptyListMissesTheKeyId) {
    startWithReader();
    expectOutputs(runScript(kInit, Params()), {errorIs("80ec")});
    expectCalls({});
    expectTrace(entry(kInit) + Trace{{1, "PKCS11Client::initAuthenticator: INIT_KEYID parameter not found"}} +
                leave(kInit));
}

TEST_F(InitAuthenticator, onlyTheUsersPinCanBeSet) {
    startWithReader();
    const Params params = Params().plain("INIT_KEYID", "SO").plain("PINID", "SO").hex("PIN", kNewPinHex);

    const Result result = execute(kInit, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kInit, params.ids(),
                             Trace{{1, "PKCS11Client::initAuthenticator: Bad parameter PINID: SO"}}, result));
}

TEST_F(InitAuthenticator, badValuesAreReportedInTheOrderOfTheList) {
    startWithReader();
    expectRefused(execute(kInit, Params().plain("INIT_KEYID", "so")), initMessage("Bad parameter INIT_KEYID: so"));
    expectRefused(execute(kInit, Params().plain("INIT_KEYID", "USER")), initMessage("Bad parameter INIT_KEYID: USER"));
    expectRefused(execute(kInit, Params().plain("INIT_KEYID", "")), initMessage("Bad parameter INIT_KEYID: "));
    expectRefused(execute(kInit, Params().plain("PINID", "SO").plain("INIT_KEYID", "x")),
                  initMessage("Bad parameter PINID: SO"));
    expectRefused(execute(kInit, Params().plain("INIT_KEYID", "x").plain("PINID", "SO")),
                  initMessage("Bad parameter INIT_KEYID: x"));
    expectRefused(runScript(kInit, initParams().plain("PINID", "SO")), initMessage("Bad parameter PINID: SO"));
    expectRefused(runScript(kInit, initParams().plain("INIT_KEYID", "x")), initMessage("Bad parameter INIT_KEYID: x"));
}

TEST_F(InitAuthenticator, missingParametersAreReportedInOrder) {
    startWithReader();
    expectRefused(execute(kInit, Params().hex("INIT_KEY", kSoPinHex)), initMessage("INIT_KEYID parameter not found"));
    expectRefused(execute(kInit, Params().plain("PINID", "USER")), initMessage("INIT_KEYID parameter not found"));
    expectRefused(execute(kInit, Params().plain("INIT_KEYID", "SO")), initMessage("PINID parameter not found"));
    expectRefused(execute(kInit, initIds()), initMessage("PIN parameter not found"));
    expectRefused(execute(kInit, initIds().hex("INIT_KEY", kSoPinHex)), initMessage("PIN parameter not found"));
    expectRefused(execute(kInit, initIds().hex("pin", kNewPinHex)), initMessage("PIN parameter not found"));
    expectRefused(execute(kInit, Params().plain("init_keyid", "SO")), initMessage("INIT_KEYID parameter not found"));
}

TEST_F(InitAuthenticator, anAccessPinIdDoesNotServe) {
    startWithReader(Params().plain("PINID", "USER"));
    expectRefused(execute(kInit, Params().plain("INIT_KEYID", "SO").hex("PIN", kNewPinHex)),
                  initMessage("PINID parameter not found"));
}

TEST_F(InitAuthenticator, theKeyIdOfUnlockingDoesNotServe) {
    startWithReader();
    expectRefused(execute(kInit, unlockParams()), initMessage("INIT_KEYID parameter not found"));
}

TEST_F(InitAuthenticator, unlockTypeIsNotLookedAt) {
    startWithReader();
    expectOutputs(execute(kInit, initParams().plain("UNLOCK_TYPE", "DYNAMIC")), {done()});
}

TEST_F(InitAuthenticator, withoutPinTheAccessPinIsSet) {
    startWithReader(Params().hex("PIN", kNewPinHex));
    expectOutputs(execute(kInit, initIds().hex("INIT_KEY", kSoPinHex)), {done()});
    expectCalls(kOfficerSetsPin);
}

TEST_F(InitAuthenticator, anEmptyPinOfTheOperationTakesTheAccessPinsPlace) {
    startWithReader(Params().hex("PIN", kNewPinHex));
    expectRefused(execute(kInit, initIds().hex("INIT_KEY", kSoPinHex).hex("PIN", "")),
                  initMessage("PIN parameter not found"));
}

TEST_F(InitAuthenticator, theOfficersAccessPinIsNotTaken) {
    startWithReader(Params().plain("PINID", "SO").hex("PIN", kSoPinHex));
    expectRefused(runScript(kInit, initIds().hex("INIT_KEY", kSoPinHex)), initMessage("PIN parameter not found"));
}

TEST_F(InitAuthenticator, theOperationsPinStandsBeforeTheAccessPin) {
    startWithReader(Params().hex("PIN", kWrongPinHex));
    expectOutputs(runScript(kInit, initParams()), {done()});
    EXPECT_EQ(fake.userPin(), "5678");
}

TEST_F(InitAuthenticator, ofRepeatedParametersTheLastCounts) {
    startWithReader();
    const Params params = Params().hex("INIT_KEY", kWrongPinHex).hex("PIN", kWrongPinHex).append(initParams());
    expectOutputs(execute(kInit, params), {done()});
    expectCalls(kOfficerSetsPin);
}

TEST_F(InitAuthenticator, aPinInBase64ServesThroughTheAccessValue) {
    // The script takes the value text, which is no hexadecimal text; what was read before it ran is the decoded PIN.
    fake.setUserPin("9999");
    startWithReader(Params().hex("PIN", kWrongPinHex));

    expectOutputs(execute(kInit, initIds().hex("INIT_KEY", kSoPinHex).base64("PIN", "MTIzNA==")), {done()});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)", "C_InitPIN(0x1, 31323334)",
                 "C_Logout(0x1)"});
    EXPECT_EQ(fake.userPin(), "1234");
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

TEST_F(InitAuthenticator, aKeyInBase64IsMalformed) {
    startWithReader();
    expectMalformed(execute(kInit, initIds().bytes("INIT_KEY", kSoPinHex).hex("PIN", kNewPinHex)), kInit, "INIT_KEY",
                    "MTIzNDU2Nzg=");
}

// initAuthenticator: failures of the token

TEST_F(InitAuthenticator, aSessionThatCannotBeOpenedEndsItUnderTheFunctionsName) {
    startWithReader();
    fake.answerNext(Function::C_OpenSession, CKR_TOKEN_NOT_RECOGNIZED);

    expectOutputs(runScript(kInit, initParams()), {errorIs("80ea")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)"});
    expectTrace(entry(kInit) + openSessionTrace(kReadWrite, static_cast<CK_SESSION_HANDLE>(-1), 0x11, 0xE1) +
                failed(kInit, "C_OpenSession", 0xE1) + leave(kInit));
}

TEST_F(InitAuthenticator, aWrongKeyEndsItWithoutAskingForTheLastTry) {
    fake.setTries(Role::SecurityOfficer, 2);
    startWithReader();

    expectOutputs(runScript(kInit, initIds().hex("INIT_KEY", kWrongPinHex).hex("PIN", kNewPinHex)), {errorIs("80ee")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 39393939)"});
    expectTrace(entry(kInit) + openSessionTrace(kReadWrite, 1) + officerLoginTrace(kInit, 1) +
                failed(kInit, "C_Login", 0xA0) + leave(kInit));
}

TEST_F(InitAuthenticator, anOfficerWhoIsLoggedInAlreadyIsAFailure) {
    startWithSession(Role::SecurityOfficer);
    expectOutputs(execute(kInit, initParams()), {errorIs("80f5")});
    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_SO, 3132333435363738)"});
    EXPECT_EQ(fake.login(), Role::SecurityOfficer);
}

// unlockAuthenticator: the whole road

TEST_F(UnlockAuthenticator, theOfficerIsLoggedInSetsThePinAndIsLoggedOut) {
    fake.setTries(Role::User, 0);
    startWithReader();
    const Params params = unlockParams();

    const Result result = execute(kUnlock, params);

    expectOutputs(result, {done()});
    expectCalls(kOfficerSetsPin);
    expectTrace(executeTrace(kUnlock, params.ids(),
                             openSessionTrace(kReadWrite, 1) + officerLoginTrace(kUnlock, 1) + initPin(kUnlock, 1) +
                                 logoutTrace(kUnlock, 1),
                             result));
    EXPECT_EQ(fake.userPin(), "5678");
    EXPECT_EQ(fake.tries(Role::User), 3U);
    EXPECT_EQ(fake.login(), Role::Nobody);
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(UnlockAuthenticator, withoutKeyASessionIsOpenedButNobodyLoggedIn) {
    startWithReader();

    expectOutputs(runScript(kUnlock, unlockIds().hex("PIN", kNewPinHex)), {errorIs("80f0")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_InitPIN(0x1, 35363738)"});
    expectTrace(entry(kUnlock) + openSessionTrace(kReadWrite, 1) + initPin(kUnlock, 1) +
                failed(kUnlock, "C_InitPIN", 0x101) + leave(kUnlock));
}

TEST_F(UnlockAuthenticator, withoutKeyTheLoginOfAnEarlierScriptServesAndStays) {
    startWithSession(Role::SecurityOfficer);

    expectOutputs(runScript(kUnlock, unlockIds().hex("PIN", kNewPinHex)), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_InitPIN(0x1, 35363738)"});
    expectTrace(entry(kUnlock) + keepSessionTrace(1, CKS_RW_SO_FUNCTIONS, 6) + initPin(kUnlock, 1) + leave(kUnlock));
    EXPECT_EQ(fake.login(), Role::SecurityOfficer);
}

TEST_F(UnlockAuthenticator, anEmptyKeyIsNoKey) {
    startWithSession(Role::SecurityOfficer);
    expectOutputs(execute(kUnlock, unlockParams("")), {done()});
    expectCalls({"C_GetSessionInfo(0x1)", "C_InitPIN(0x1, 35363738)"});
}

TEST_F(UnlockAuthenticator, theKeyIdIsOptional) {
    startWithReader();
    expectOutputs(execute(kUnlock, unlockIds().hex("UNLOCK_KEY", kSoPinHex).hex("PIN", kNewPinHex)), {done()});
    expectCalls(kOfficerSetsPin);
}

// unlockAuthenticator: its reading of the parameters

TEST_F(UnlockAuthenticator, anEmptyListMissesTheUnlockType) {
    startWithReader();
    expectOutputs(runScript(kUnlock, Params()), {errorIs("80ec")});
    expectCalls({});
    expectTrace(entry(kUnlock) + Trace{{1, "PKCS11Client::unlockAuthenticator: UNLOCK_TYPE parameter not found"}} +
                leave(kUnlock));
}

TEST_F(UnlockAuthenticator, onlyStaticUnlockingIsKnown) {
    startWithReader();
    const Params params = Params().plain("UNLOCK_TYPE", "DYNAMIC").plain("PINID", "USER").hex("PIN", kNewPinHex);

    const Result result = execute(kUnlock, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kUnlock, params.ids(),
                             Trace{{1, "PKCS11Client::unlockAuthenticator: Bad parameter UNLOCK_TYPE: DYNAMIC"}},
                             result));
}

TEST_F(UnlockAuthenticator, badValuesAreReportedInTheOrderOfTheList) {
    startWithReader();
    expectRefused(execute(kUnlock, Params().plain("PINID", "SO")), unlockMessage("Bad parameter PINID: SO"));
    expectRefused(execute(kUnlock, Params().plain("UNLOCK_TYPE", "static")),
                  unlockMessage("Bad parameter UNLOCK_TYPE: static"));
    expectRefused(execute(kUnlock, unlockIds().plain("UNLOCK_KEYID", "USER")),
                  unlockMessage("Bad parameter UNLOCK_KEYID: USER"));
    expectRefused(execute(kUnlock, unlockIds().plain("UNLOCK_KEYID", "")),
                  unlockMessage("Bad parameter UNLOCK_KEYID: "));
    expectRefused(execute(kUnlock, Params().plain("UNLOCK_KEYID", "a").plain("UNLOCK_TYPE", "b").plain("PINID", "SO")),
                  unlockMessage("Bad parameter UNLOCK_KEYID: a"));
    expectRefused(execute(kUnlock, Params().plain("UNLOCK_TYPE", "b").plain("PINID", "SO").plain("UNLOCK_KEYID", "a")),
                  unlockMessage("Bad parameter UNLOCK_TYPE: b"));
    expectRefused(execute(kUnlock, unlockParams().plain("UNLOCK_TYPE", "x")),
                  unlockMessage("Bad parameter UNLOCK_TYPE: x"));
}

TEST_F(UnlockAuthenticator, missingParametersAreReportedInOrder) {
    startWithReader();
    expectRefused(execute(kUnlock, Params().hex("PIN", kNewPinHex)), unlockMessage("UNLOCK_TYPE parameter not found"));
    expectRefused(execute(kUnlock, Params().plain("PINID", "USER")), unlockMessage("UNLOCK_TYPE parameter not found"));
    expectRefused(execute(kUnlock, Params().plain("UNLOCK_TYPE", "STATIC")),
                  unlockMessage("PINID parameter not found"));
}

TEST_F(UnlockAuthenticator, aMissingPinIsCalledNewPin) {
    startWithReader();
    expectRefused(execute(kUnlock, unlockIds()), unlockMessage("NEW_PIN parameter not found"));
    expectRefused(execute(kUnlock, unlockIds().hex("PIN", "")), unlockMessage("NEW_PIN parameter not found"));
    expectRefused(execute(kUnlock, unlockIds().hex("PIN", "pin")), unlockMessage("NEW_PIN parameter not found"));
    expectRefused(execute(kUnlock, unlockIds().hex("PIN", "313")), unlockMessage("NEW_PIN parameter not found"));
}

TEST_F(UnlockAuthenticator, theParameterIsPinAllTheSame) {
    startWithReader();
    expectRefused(execute(kUnlock, unlockIds().hex("NEW_PIN", kNewPinHex)),
                  unlockMessage("NEW_PIN parameter not found"));
}

TEST_F(UnlockAuthenticator, theAccessPinIsNoFallback) {
    startWithReader(Params().hex("PIN", kNewPinHex).hex("NEW_PIN", kNewPinHex));
    expectRefused(execute(kUnlock, unlockIds().hex("UNLOCK_KEY", kSoPinHex)),
                  unlockMessage("NEW_PIN parameter not found"));
}

TEST_F(UnlockAuthenticator, anAccessPinIdDoesNotServe) {
    startWithReader(Params().plain("PINID", "USER"));
    expectRefused(execute(kUnlock, Params().plain("UNLOCK_TYPE", "STATIC").hex("PIN", kNewPinHex)),
                  unlockMessage("PINID parameter not found"));
}

TEST_F(UnlockAuthenticator, ofSeveralPinsTheFirstThatIsNotEmptyCounts) {
    startWithReader();
    const Params params = unlockIds()
                              .hex("UNLOCK_KEY", kSoPinHex)
                              .hex("PIN", "")
                              .hex("PIN", "pin")
                              .hex("PIN", kNewPinHex)
                              .hex("PIN", kWrongPinHex)
                              .hex("PIN", "");

    expectOutputs(execute(kUnlock, params), {done()});

    expectCalls(kOfficerSetsPin);
    EXPECT_EQ(storedUserPin(), kNewPinHex);
}

TEST_F(UnlockAuthenticator, ofSeveralKeysTheLastCounts) {
    startWithReader();
    expectOutputs(execute(kUnlock, Params().hex("UNLOCK_KEY", kWrongPinHex).append(unlockParams())), {done()});
    expectCalls(kOfficerSetsPin);
}

TEST_F(UnlockAuthenticator, aPinInBase64IsNoneForTheScriptButIsStored) {
    startWithReader(Params().hex("PIN", kWrongPinHex));
    expectRefused(execute(kUnlock, unlockIds().hex("UNLOCK_KEY", kSoPinHex).base64("PIN", "MTIzNA==")),
                  unlockMessage("NEW_PIN parameter not found"));
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

// unlockAuthenticator: failures of the token

TEST_F(UnlockAuthenticator, aSessionThatCannotBeOpenedEndsIt) {
    startWithReader();
    fake.answerNext(Function::C_OpenSession, CKR_TOKEN_NOT_RECOGNIZED);

    expectOutputs(runScript(kUnlock, unlockParams()), {errorIs("80ea")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)"});
    expectTrace(entry(kUnlock) + openSessionTrace(kReadWrite, static_cast<CK_SESSION_HANDLE>(-1), 0x11, 0xE1) +
                failed(kUnlock, "openSession", 0xE1) + leave(kUnlock));
}

TEST_F(UnlockAuthenticator, aWrongKeyThatLeavesOneTryIsReportedSo) {
    fake.setTries(Role::SecurityOfficer, 2);
    startWithReader();
    const Params params = unlockParams(kWrongPinHex);

    const Result result = execute(kUnlock, params);

    expectOutputs(result, {errorIs("80ee"), kLastUnlock});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 39393939)", "C_GetTokenInfo(0x11)"});
    expectTrace(executeTrace(kUnlock, params.ids(),
                             openSessionTrace(kReadWrite, 1) + officerLoginTrace(kUnlock, 1) + lastTryTrace(0x30040D) +
                                 failed(kUnlock, "C_Login", 0xA0),
                             result));
}

TEST_F(UnlockAuthenticator, anInvalidKeyCountsAsAWrongOne) {
    startWithReader();
    fake.setTokenFlags(Fake::kSlot, 0x200000);
    fake.answerNext(Function::C_Login, CKR_PIN_INVALID);

    expectOutputs(runScript(kUnlock, unlockParams()), {errorIs("80ee"), kLastUnlock});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)", "C_GetTokenInfo(0x11)"});
    expectTrace(entry(kUnlock) + openSessionTrace(kReadWrite, 1) + officerLoginTrace(kUnlock, 1) +
                lastTryTrace(0x20040D) + failed(kUnlock, "C_Login", 0xA1) + leave(kUnlock));
}

TEST_F(UnlockAuthenticator, onlyTheOfficersFinalTryFlagCounts) {
    startWithReader();
    fake.setTokenFlags(Fake::kSlot, 0x10000 | 0x20000 | 0x40000 | 0x100000 | 0x400000);
    expectOutputs(execute(kUnlock, unlockParams(kWrongPinHex)), {errorIs("80ee")});
    expectTraceAt(1, failed(kUnlock, "C_Login", 0xA0));
}

TEST_F(UnlockAuthenticator, aTokenThatGivesNoInformationDoesNotHideTheWrongKey) {
    startWithReader();
    fake.setTries(Role::SecurityOfficer, 2);
    fake.answerNext(Function::C_GetTokenInfo, CKR_DEVICE_ERROR);

    expectOutputs(runScript(kUnlock, unlockParams(kWrongPinHex)), {errorIs("80ee")});

    expectTrace(entry(kUnlock) + openSessionTrace(kReadWrite, 1) + officerLoginTrace(kUnlock, 1) +
                failedLastTryTrace(0x30) + failed(kUnlock, "isLastTry", 0x30) + leave(kUnlock));
}

TEST_F(UnlockAuthenticator, anyOtherLoginFailureEndsItWithoutAskingForTheLastTry) {
    startWithReader();
    fake.setTokenFlags(Fake::kSlot, 0x200000);
    fake.answerNext(Function::C_Login, CKR_PIN_LOCKED);

    expectOutputs(runScript(kUnlock, unlockParams()), {errorIs("80ef")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_SO, 3132333435363738)"});
    expectTrace(entry(kUnlock) + openSessionTrace(kReadWrite, 1) + officerLoginTrace(kUnlock, 1) +
                failed(kUnlock, "C_Login", 0xA4) + leave(kUnlock));
}

TEST_F(UnlockAuthenticator, somebodyWhoIsLoggedInAlreadyIsAFailure) {
    startWithSession(Role::User);
    expectOutputs(execute(kUnlock, unlockParams()), {errorIs("80f1")});
    expectCalls({"C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_SO, 3132333435363738)"});
    EXPECT_EQ(fake.login(), Role::User);
}

TEST_F(UnlockAuthenticator, noTraceShowsAPinOrKey) {
    startWithReader();
    static_cast<void>(execute(kInit, initParams()));
    static_cast<void>(execute(kUnlock, unlockParams()));
    static_cast<void>(execute(kUnlock, unlockParams("7172737475")));
    static_cast<void>(execute(kUnlock, unlockIds().text("PIN", "qwertz")));
    for (const TraceLine& line : trace().lines) {
        for (const std::string pin : {"3132333435363738", "35363738", "7172737475", "qwertz", "71776572747A"}) {
            EXPECT_EQ(line.text.find(pin), std::string::npos) << line.text;
        }
        EXPECT_EQ(line.dump, std::nullopt);
    }
}

} // namespace Conformance::InitAuthenticatorTests
