#include "scripts/Scripts.h"
#include "scripts/common/Roles.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

std::optional<CK_USER_TYPE> roleAsked(const ScriptContext& script, const Trace& trace) {
    CK_USER_TYPE role = script.access.userType();
    for (const Zel::Parameter& parameter : elements(script.params)) {
        if (!equals(parameter.getId(), L"PINID")) {
            continue;
        }
        const auto given = userTypeOf(parameter.getValue());
        if (!given) {
            trace.failure(L": Bad parameter PINID: %ws", parameter.getValue());
            return std::nullopt;
        }
        role = *given;
    }
    return role;
}

/// Fails unless the session's state shows that the role is logged in; an unknown state gives a client code.
Result checkLoggedIn(CK_STATE state, CK_USER_TYPE role) {
    switch (state) {
    case CKS_RO_PUBLIC_SESSION:
    case CKS_RW_PUBLIC_SESSION:
        return CKR_USER_NOT_LOGGED_IN;
    case CKS_RO_USER_FUNCTIONS:
    case CKS_RW_USER_FUNCTIONS:
        return role == CKU_USER ? CKR_OK : CKR_USER_NOT_LOGGED_IN;
    case CKS_RW_SO_FUNCTIONS:
        return role == CKU_SO ? CKR_OK : CKR_USER_NOT_LOGGED_IN;
    default:
        return Result::client(ClientCode::kUnknownSessionState);
    }
}

} // namespace

Result scripts::deauthenticate(ScriptContext& script, const Trace& trace) {
    const auto role = roleAsked(script, trace);
    if (!role) {
        return Result::badParameter();
    }
    // Called also without an open session: the module then reports the invalid handle.
    CK_SESSION_INFO info{};
    const CK_RV rv = script.session.askSessionInfo(trace, info);
    if (rv != CKR_OK) {
        return rv;
    }
    traceSessionInfo(trace, info);
    const Result loggedIn = checkLoggedIn(info.state, *role);
    if (!loggedIn.isOk()) {
        return loggedIn;
    }
    return script.session.call(trace, cryptoki::logout).run(script.session.handle());
}

} // namespace plugin
