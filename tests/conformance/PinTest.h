#pragma once

#include "tests/conformance/Harness.h"

// What tests of the PIN scripts share. PINs as the scripted token has them, in hexadecimal: the user's 31323334, the
// officer's 3132333435363738.

namespace Conformance {

inline constexpr const char* kUserPinHex = "31323334";
inline constexpr const char* kSoPinHex = "3132333435363738";

class PinTest : public PluginTest {
protected:
    /// Reader resolved, these access parameters given, and read/write session 0x1 open with this role logged in. With
    /// Nobody the session is public.
    void startWithSession(Fake::Role role, const Params& access = Params()) {
        startWithReader(access);
        const bool isOfficer = role == Fake::Role::SecurityOfficer;
        run("authenticate", Params()
                                .plain("AUTH_TYPE", "STATIC")
                                .plain("PINID", isOfficer ? "SO" : "USER")
                                .hex("PIN", isOfficer ? kSoPinHex : kUserPinHex));
        fake.setLogin(role);
        forget();
    }

    /// The PIN with which a later script logs the user in, or why it does not; nobody is logged in before.
    std::string storedUserPin() {
        const std::string start = "CKU_USER, ";
        fake.setLogin(Fake::Role::Nobody);
        forget();
        static_cast<void>(execute("signData")); // logs in before it looks for its parameters
        for (const std::string& line : calls()) {
            const std::size_t found = line.find(start);
            if (line.rfind("C_Login(", 0) == 0 && found != std::string::npos) {
                return line.substr(found + start.size(), line.size() - found - start.size() - 1);
            }
        }
        return "no login";
    }

    /// The script answers 33004 and nothing else, says just this at level 1, and calls nothing.
    void expectRefused(const Result& result, const std::string& message, Where where = Where::current()) {
        expectOutputs(result, {errorIs("80ec")}, where);
        expectTraceAt(1, {{1, message}}, where);
        expectCalls({}, where);
    }
};

/// The lines with which a script that names the user type announces C_Login.
inline Trace loginTrace(const std::string& method, CK_SESSION_HANDLE session, CK_USER_TYPE userType) {
    return sessionCall(method, "C_Login", session) + in(method, "UserType", userType);
}

/// The same where the script always logs the officer in.
inline Trace officerLoginTrace(const std::string& method, CK_SESSION_HANDLE session) {
    return sessionCall(method, "C_Login", session) + Trace{{4, "PKCS11Client::" + method + ": --> CKU_SO"}};
}

/// isLastTry on the default slot; the token's flags stand at level 2.
inline Trace lastTryTrace(CK_FLAGS tokenFlags) {
    return {{2, "PKCS11Client::isLastTry : C_GetTokenInfo"},
            {4, "PKCS11Client::isLastTry: --> SlotID=0x11"},
            {2, textf("PKCS11Client::isLastTry: <-- tokenInfo.flags=0x%x", low(tokenFlags))},
            {16, "PKCS11Client::isLastTry"}};
}

/// isLastTry where the token gives no information.
inline Trace failedLastTryTrace(CK_RV rv) {
    return Trace{{2, "PKCS11Client::isLastTry : C_GetTokenInfo"}, {4, "PKCS11Client::isLastTry: --> SlotID=0x11"}} +
           failedTight("isLastTry", "C_GetTokenInfo", rv) + leave("isLastTry");
}

} // namespace Conformance
