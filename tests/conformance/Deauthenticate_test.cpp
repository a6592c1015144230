// "deauthenticate".

#include "tests/conformance/PinTest.h"

namespace Conformance::DeauthenticateTests {

using Fake::Function;
using Fake::Role;

namespace {

const std::string kScript = "deauthenticate";

} // namespace

class Deauthenticate : public PinTest {
protected:
    static Params pinId(const std::string& role) { return Params().plain("PINID", role); }

    /// The announcement; both lines are level 2 here.
    static Trace asking(unsigned session) {
        return {{2, "PKCS11Client::deauthenticate: C_GetSessionInfo"},
                {2, textf("PKCS11Client::deauthenticate: --> hSession=0x%x", session)}};
    }
};

TEST_F(Deauthenticate, logsTheUserOutAndKeepsTheSession) {
    startWithSession(Role::User);
    const Params params = pinId("USER");

    const Result result = execute(kScript, params);

    expectOutputs(result, {done()});
    expectCalls({"C_GetSessionInfo(0x1)", "C_Logout(0x1)"});
    expectTrace(executeTrace(
        kScript, params.ids(),
        asking(1) + sessionInfoTrace(kScript, 0x11, CKS_RW_USER_FUNCTIONS, 6) + logoutTrace(kScript, 1), result));
    EXPECT_EQ(fake.login(), Role::Nobody);
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(Deauthenticate, logsTheOfficerOut) {
    startWithSession(Role::SecurityOfficer);

    expectOutputs(runScript(kScript, pinId("SO")), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_Logout(0x1)"});
    expectTrace(entry(kScript) + asking(1) + sessionInfoTrace(kScript, 0x11, CKS_RW_SO_FUNCTIONS, 6) +
                logoutTrace(kScript, 1) + leave(kScript));
    EXPECT_EQ(fake.login(), Role::Nobody);
}

TEST_F(Deauthenticate, withoutPinIdTheAccessPinIdCounts) {
    startWithSession(Role::User);
    expectOutputs(execute(kScript), {done()}); // the operation before named the user
    expectCalls({"C_GetSessionInfo(0x1)", "C_Logout(0x1)"});
    plugin.free();

    startWithReader(Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "SO").hex("PIN", kSoPinHex));
    run("authenticate");
    expectOutputs(execute(kScript, Params()), {done()});
    expectCalls({"C_GetSessionInfo(0x2)", "C_Logout(0x2)"});
}

TEST_F(Deauthenticate, itsOwnPinIdStandsBeforeTheAccessPinId) {
    startWithSession(Role::User);
    expectOutputs(runScript(kScript, pinId("SO")), {errorIs("80f0")});
    expectCalls({"C_GetSessionInfo(0x1)"});
}

TEST_F(Deauthenticate, ofTwoPinIdsTheLastCounts) {
    startWithSession(Role::User);
    expectOutputs(runScript(kScript, pinId("SO").plain("PINID", "USER")), {done()});
    expectCalls({"C_GetSessionInfo(0x1)", "C_Logout(0x1)"});
}

TEST_F(Deauthenticate, withoutSessionTheModuleIsAskedAllTheSame) {
    startWithReader();

    expectOutputs(runScript(kScript, pinId("USER")), {errorIs("80ff")});

    expectCalls({"C_GetSessionInfo(none)"});
    expectTrace(entry(kScript) + asking(0xFFFFFFFF) + failedTight(kScript, "C_GetSessionInfo", 0xB3) + leave(kScript));
}

TEST_F(Deauthenticate, aStaleSessionIsReportedAndKept) {
    startWithSession(Role::User);
    fake.dropSessions();
    expectOutputs(execute(kScript, pinId("USER")), {errorIs("80ff")});
    expectOutputs(execute(kScript, pinId("USER")), {errorIs("80ff")});
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)"});
}

TEST_F(Deauthenticate, aLogoutThatFailsIsReported) {
    startWithSession(Role::User);
    fake.answerNext(Function::C_Logout, CKR_DEVICE_REMOVED);

    expectOutputs(runScript(kScript, pinId("USER")), {errorIs("80eb")});

    expectTrace(entry(kScript) + asking(1) + sessionInfoTrace(kScript, 0x11, CKS_RW_USER_FUNCTIONS, 6) +
                logoutTrace(kScript, 1, 0x32) + leave(kScript));
}

TEST_F(Deauthenticate, theStoredPinStays) {
    startWithSession(Role::User);
    run(kScript, pinId("USER"));
    EXPECT_EQ(storedUserPin(), kUserPinHex);
}

struct StateRow {
    CK_STATE state;
    const char* role;
    const char* code; ///< with "0" a logout is called
};

class DeauthenticateByState : public Deauthenticate, public ::testing::WithParamInterface<StateRow> {};

TEST_P(DeauthenticateByState, theSessionStateDecides) {
    const StateRow row = GetParam();
    startWithSession(Role::Nobody);
    fake.setSessionState(row.state);
    fake.answerNext(Function::C_Logout, CKR_OK);

    expectOutputs(runScript(kScript, pinId(row.role)), {errorIs(row.code)});

    std::vector<std::string> expected = {"C_GetSessionInfo(0x1)"};
    Trace lines = entry(kScript) + asking(1) + sessionInfoTrace(kScript, 0x11, row.state, 6);
    if (std::string(row.code) == "0") {
        expected.push_back("C_Logout(0x1)");
        lines += logoutTrace(kScript, 1);
    }
    expectCalls(expected);
    expectTrace(lines + leave(kScript));
}

INSTANTIATE_TEST_SUITE_P(
    States, DeauthenticateByState,
    ::testing::Values(StateRow{CKS_RO_PUBLIC_SESSION, "USER", "80f0"}, StateRow{CKS_RO_PUBLIC_SESSION, "SO", "80f0"},
                      StateRow{CKS_RW_PUBLIC_SESSION, "USER", "80f0"}, StateRow{CKS_RW_PUBLIC_SESSION, "SO", "80f0"},
                      StateRow{CKS_RO_USER_FUNCTIONS, "USER", "0"}, StateRow{CKS_RO_USER_FUNCTIONS, "SO", "80f0"},
                      StateRow{CKS_RW_USER_FUNCTIONS, "USER", "0"}, StateRow{CKS_RW_USER_FUNCTIONS, "SO", "80f0"},
                      StateRow{CKS_RW_SO_FUNCTIONS, "SO", "0"}, StateRow{CKS_RW_SO_FUNCTIONS, "USER", "80f0"},
                      StateRow{5, "USER", "80ed"}, StateRow{5, "SO", "80ed"},
                      StateRow{static_cast<CK_STATE>(-1), "USER", "80ed"}, StateRow{33005, "SO", "80ed"}));

} // namespace Conformance::DeauthenticateTests
