#include "scripts/Scripts.h"
#include "scripts/common/Roles.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

constexpr std::uint32_t kCardInitialised = 1;

/// Values of "AUTHSTATE".
enum class AuthState : std::uint32_t { LoggedIn = 1, NotLoggedIn = 2, Blocked = 3 };

/// The role whose state the script reports: from the operation's first "PINID", else from the access values.
std::optional<CK_USER_TYPE> roleAsked(const ScriptContext& script, const Trace& trace) {
    for (const Zel::Parameter& parameter : elements(script.params)) {
        if (!equals(parameter.getId(), L"PINID")) {
            continue;
        }
        const auto role = userTypeOf(parameter.getValue());
        if (!role) {
            trace.failure(L": Bad parameter PINID: %ws", parameter.getValue());
        }
        return role;
    }
    return script.access.userType();
}

/// nullopt for an unknown session state.
std::optional<AuthState> stateOf(CK_USER_TYPE role, CK_STATE state, CK_FLAGS tokenFlags) {
    const CK_FLAGS locked = role == CKU_USER ? CKF_USER_PIN_LOCKED : CKF_SO_PIN_LOCKED;
    if ((tokenFlags & locked) != 0) {
        return AuthState::Blocked;
    }
    switch (state) {
    case CKS_RO_PUBLIC_SESSION:
    case CKS_RW_PUBLIC_SESSION:
        return AuthState::NotLoggedIn;
    case CKS_RO_USER_FUNCTIONS:
    case CKS_RW_USER_FUNCTIONS:
        return role == CKU_USER ? AuthState::LoggedIn : AuthState::NotLoggedIn;
    case CKS_RW_SO_FUNCTIONS:
        return role == CKU_SO ? AuthState::LoggedIn : AuthState::NotLoggedIn;
    default:
        return std::nullopt;
    }
}

CK_RV askToken(const ScriptContext& script, const Trace& trace, CK_SESSION_INFO& session, CK_TOKEN_INFO& token) {
    CK_RV rv = script.session.call(trace, cryptoki::getSessionInfo, kTight).run(script.session.handle(), &session);
    if (rv != CKR_OK) {
        return rv;
    }
    traceSessionInfo(trace, session);
    rv = CryptokiCall(script.session.module(), trace, cryptoki::getTokenInfo, kTight)
             .in(L"SlotID", script.session.slotID())
             .run(script.session.slotID(), &token);
    if (rv == CKR_OK) {
        trace.output(L"tokenInfo.flags", token.flags);
    }
    return rv;
}

Result report(ScriptContext& script, const Trace& trace, CK_USER_TYPE role) {
    CK_SESSION_INFO session{};
    CK_TOKEN_INFO token{};
    const CK_RV rv = askToken(script, trace, session, token);
    if (rv != CKR_OK) {
        return rv;
    }
    const auto state = stateOf(role, session.state, token.flags);
    if (!state) {
        return Result::client(ClientCode::kUnknownSessionState);
    }
    trace.write(TraceLevel::Value, L" authState %d", *state);
    script.outputs.push(Zel::Parameter(Zel::ParameterEncoding::Text, L"AUTHSTATE", Zel::ParameterType::Number,
                                       hexNumberText(static_cast<std::uint32_t>(*state))));
    const CK_FLAGS finalTry = role == CKU_USER ? CKF_USER_PIN_FINAL_TRY : CKF_SO_PIN_FINAL_TRY;
    if ((token.flags & finalTry) != 0) {
        script.outputs.push(
            Zel::Parameter(Zel::ParameterEncoding::Plain, L"LEFTPINTRY", Zel::ParameterType::Number, L"1"));
        trace.write(TraceLevel::Value, L"Last try TRUE");
    } else {
        trace.write(TraceLevel::Value, L" Last try FALSE");
    }
    return CKR_OK;
}

} // namespace

Result scripts::getCardState(ScriptContext& script, const Trace& /*trace*/) {
    script.outputs.push(L"CARDSTATE", hexNumberText(kCardInitialised));
    return CKR_OK;
}

/// Uses an open session with its login; otherwise opens a read-only session and closes it again.
Result scripts::getAuthenticatorState(ScriptContext& script, const Trace& trace) {
    const auto role = roleAsked(script, trace);
    if (!role) {
        return Result::badParameter();
    }
    if (script.session.isOpen()) {
        return report(script, trace, *role);
    }
    CK_RV rv = script.session.open(trace, 0);
    if (rv != CKR_OK) {
        return rv;
    }
    trace.output(L"hSession", script.session.handle());
    const Result result = report(script, trace, *role);
    rv = script.session.closeSession();
    if (rv != CKR_OK) {
        trace.failed(L"closeSession", rv);
        return result.isClientCode() ? result : Result(rv);
    }
    return result;
}

} // namespace plugin
