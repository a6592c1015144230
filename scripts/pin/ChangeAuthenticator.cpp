#include "scripts/Scripts.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/common/Roles.h"
#include "scripts/common/UserLogin.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

struct Request {
    std::optional<CK_USER_TYPE> givenRole;
    CK_USER_TYPE role = CKU_USER;
    SecretBuffer oldPin;
    SecretBuffer newPin;
};

Result readGiven(const ScriptContext& script, const Trace& trace, Request& request) {
    for (const Zel::Parameter& parameter : elements(script.params)) {
        const Zel::TString& id = parameter.getId();
        const Zel::TString& value = parameter.getValue();
        if (equals(id, L"PINID")) {
            request.givenRole = userTypeOf(value);
            if (!request.givenRole) {
                return badParameter(trace, id, value);
            }
        } else if (equals(id, L"OLD_PIN")) {
            request.oldPin = TStringHex2Binary(value);
        } else if (equals(id, L"NEW_PIN")) {
            request.newPin = TStringHex2Binary(value);
        }
    }
    return CKR_OK;
}

/// Missing values come from the access values. Only the old PIN proves a role, so only the old PIN must belong to the
/// role.
Result completeFromAccess(const ScriptContext& script, const Trace& trace, Request& request) {
    request.role = request.givenRole.value_or(script.access.userType());
    if (request.oldPin.isEmpty() && !takeStoredPin(trace, script.access.accessOldPin(), request.role,
                                                   request.givenRole.has_value(), request.oldPin)) {
        return Result::badParameter();
    }
    if (request.oldPin.isEmpty()) {
        return notFound(trace, L"OLD_PIN");
    }
    if (request.newPin.isEmpty()) {
        request.newPin = SecretBuffer::copyOf(script.access.accessNewPin().bytes.bytes());
    }
    if (request.newPin.isEmpty()) {
        return notFound(trace, L"NEW_PIN");
    }
    return CKR_OK;
}

/// What the session needs before the PIN can be changed.
struct Need {
    bool readWriteSession = false;
    bool login = false;
};

/// nullopt for an unknown session state.
std::optional<Need> needOf(CK_STATE state, CK_USER_TYPE role) {
    switch (state) {
    case CKS_RO_PUBLIC_SESSION:
    case CKS_RO_USER_FUNCTIONS:
        return Need{true, true};
    case CKS_RW_PUBLIC_SESSION:
        return Need{false, true};
    case CKS_RW_USER_FUNCTIONS:
        return Need{false, role != CKU_USER};
    case CKS_RW_SO_FUNCTIONS:
        return Need{false, role != CKU_SO};
    default:
        return std::nullopt;
    }
}

/// Opens a read/write session. `needsLogin` is true when a login is needed on it.
Result prepareSession(ScriptContext& script, const Trace& trace, CK_USER_TYPE role, bool& needsLogin) {
    CK_SESSION_INFO info{};
    CK_RV rv = script.session.askSessionInfo(trace, info, CKR_SESSION_HANDLE_INVALID);
    Need need{true, true};
    if (rv == CKR_OK) {
        traceSessionInfo(trace, info);
        const auto known = needOf(info.state, role);
        if (!known) {
            return Result::client(ClientCode::kUnknownSessionState);
        }
        need = *known;
    } else if (rv != CKR_SESSION_HANDLE_INVALID) {
        return rv;
    }
    needsLogin = need.login;
    if (!need.readWriteSession) {
        return CKR_OK;
    }
    rv = script.session.openSession(CKF_RW_SESSION, false);
    if (rv != CKR_OK) {
        trace.failed(L"openSession", rv);
    }
    return rv;
}

CK_RV setPin(ScriptContext& script, const Trace& trace, Request& request) {
    SecretBuffer given = SecretBuffer::copyOf(request.newPin.bytes()); // because a module may overwrite it
    const CK_RV rv =
        script.session.call(trace, cryptoki::setPIN)
            .run(script.session.handle(), request.oldPin.data(), request.oldPin.size(), given.data(), given.size());
    if (rv == CKR_OK && request.role == CKU_USER) {
        // Later logins use the new PIN.
        script.access.storeUserPin(std::move(request.newPin));
    }
    return rv;
}

/// Logs in, sets the PIN and logs out again, also after a failure; a failed logout is only traced.
CK_RV setPinLoggedIn(ScriptContext& script, const Trace& trace, Request& request) {
    CK_RV rv = login(script, trace, request.role, request.oldPin);
    if (rv != CKR_OK) {
        trace.failed(cryptoki::login.name, rv);
    } else {
        rv = withOwnLogin(script.session, trace, true, [&] { return setPin(script, trace, request); });
    }
    logoutOnce(script.session, trace);
    return rv;
}

} // namespace

Result scripts::changeAuthenticator(ScriptContext& script, const Trace& trace) {
    Request request;
    if (const Result read = readGiven(script, trace, request); !read.isOk()) {
        return read;
    }
    if (const Result complete = completeFromAccess(script, trace, request); !complete.isOk()) {
        return complete;
    }
    bool needsLogin = false;
    if (const Result ready = prepareSession(script, trace, request.role, needsLogin); !ready.isOk()) {
        return ready;
    }
    return needsLogin ? setPinLoggedIn(script, trace, request) : setPin(script, trace, request);
}

} // namespace plugin
