#include "text/SecretBuffer.h"
#include "token/Session.h"

namespace plugin {

namespace {

AuthenticatedUser userOf(CK_STATE state) {
    switch (state) {
    case CKS_RO_PUBLIC_SESSION:
    case CKS_RW_PUBLIC_SESSION:
        return AuthenticatedUser::Nobody;
    case CKS_RO_USER_FUNCTIONS:
    case CKS_RW_USER_FUNCTIONS:
        return AuthenticatedUser::User;
    case CKS_RW_SO_FUNCTIONS:
        return AuthenticatedUser::SecurityOfficer;
    default:
        return AuthenticatedUser::Unknown;
    }
}

} // namespace

CK_RV Session::loginAsUser(std::span<const std::uint8_t> pin, bool& loggedIn) {
    return traced(L"loginAsUser", [&](const Trace& trace) { return login(trace, pin, loggedIn); });
}

CK_RV Session::login(const Trace& trace, std::span<const std::uint8_t> pin, bool& loggedIn) {
    loggedIn = false;
    CK_RV rv = openSession(CKF_RW_SESSION, false);
    if (rv != CKR_OK) {
        trace.failed(L"openSession", rv);
        return rv;
    }
    AuthenticatedUser user = AuthenticatedUser::Nobody;
    rv = getAuthicatedUser(user);
    if (rv != CKR_OK) {
        trace.failedTight(L"getAuthicatorUser", rv);
        return rv;
    }
    if (user == AuthenticatedUser::SecurityOfficer) {
        rv = call(trace, cryptoki::logout).run(m_hSession);
        if (rv != CKR_OK) {
            return rv;
        }
        user = AuthenticatedUser::Nobody;
    }
    if (user != AuthenticatedUser::Nobody) {
        return CKR_OK;
    }
    rv = loginWithPin(trace, pin);
    loggedIn = rv == CKR_OK;
    return rv;
}

CK_RV Session::getAuthicatedUser(AuthenticatedUser& user) const {
    return tracedExit(L"getAuthicatedUser", [&](const Trace& trace) { return readUser(trace, user); });
}

CK_RV Session::readUser(const Trace& trace, AuthenticatedUser& user) const {
    CK_SESSION_INFO info{};
    const CK_RV rv = call(trace, cryptoki::getSessionInfo, kTolerant).run(m_hSession, &info);
    if (rv == CKR_SESSION_HANDLE_INVALID) {
        trace.write(TraceLevel::Call, L": C_GetSessionInfo: Session Hanlde Invalid");
        user = AuthenticatedUser::Nobody;
        return CKR_OK;
    }
    if (rv != CKR_OK) {
        return rv;
    }
    traceSessionInfo(trace, info);
    user = userOf(info.state);
    return CKR_OK;
}

CK_RV Session::loginWithPin(const Trace& trace, std::span<const std::uint8_t> pin) {
    if (pin.empty()) {
        trace.failure(L" : no PIN Found");
        return CKR_FUNCTION_FAILED;
    }
    SecretBuffer bytes = SecretBuffer::copyOf(pin); // because a module may overwrite it
    return call(trace, cryptoki::login, kSpaced)
        .note(L": --> CKU_USER")
        .run(m_hSession, CKU_USER, bytes.data(), bytes.size());
}

} // namespace plugin
