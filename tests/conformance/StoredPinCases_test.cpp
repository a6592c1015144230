// Stored PINs and roles in the corners: a role without a PIN, a PIN before a bad role, an identifier in another case.

#include "tests/conformance/PinTest.h"

namespace Conformance::StoredPinCasesTests {

using Fake::Role;

namespace {

const Params kStatic = Params().plain("AUTH_TYPE", "STATIC");
const Output kRefused = errorIs("80ec");
} // namespace

class StoredPinCases : public PinTest {};

TEST_F(StoredPinCases, aStoredRoleWithoutAnyPinLacksThePin) {
    startWithReader(Params().plain("PINID", "SO"));

    expectOutputs(execute("authenticate", kStatic), {kRefused});
    expectTraceAt(1, {{1, "PKCS11Client::authenticate: PIN parameter not found"}});

    expectOutputs(execute("changeAuthenticator", Params().hex("NEW_PIN", "31")), {kRefused});
    expectTraceAt(1, {{1, "PKCS11Client::changeAuthenticator: OLD_PIN parameter not found"}});
    expectCalls({});
}

TEST_F(StoredPinCases, aPinBeforeABadRoleIsKept) {
    startWithReader();
    plugin.terminate();
    EXPECT_TRUE(plugin.initialize(Params().hex("PIN", "31323334").plain("PINID", "x")));
    forget();

    expectOutputs(runScript("authenticate", kStatic), {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
}

TEST_F(StoredPinCases, aPinBeforeABadRoleOfAnOperationIsKept) {
    startWithReader();
    EXPECT_TRUE(execute("getCardState", Params().hex("PIN", "31323334").plain("PINID", "x")).failure);
    forget();

    expectOutputs(runScript("authenticate", kStatic), {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
}

TEST_F(StoredPinCases, loggingOutLooksForItsIdentifierExactly) {
    startWithSession(Role::User);
    expectOutputs(execute("deauthenticate", Params().plain("pinid", "SO").plain("PinId", "x")), {done()});
    expectCalls({"C_GetSessionInfo(0x1)", "C_Logout(0x1)"});
}

} // namespace Conformance::StoredPinCasesTests
