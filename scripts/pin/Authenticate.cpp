#include "scripts/Scripts.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/common/Roles.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

/// The operation's own parameters.
struct Request {
    bool isAuthTypeGiven = false;
    std::optional<CK_USER_TYPE> role;
    SecretBuffer pin;
};

Result readRequest(const ScriptContext& script, const Trace& trace, Request& request) {
    for (const Zel::Parameter& parameter : elements(script.params)) {
        const Zel::TString& id = parameter.getId();
        const Zel::TString& value = parameter.getValue();
        bool isGood = true;
        if (equals(id, L"AUTH_TYPE")) {
            request.isAuthTypeGiven = true;
            isGood = equals(value, L"STATIC");
        } else if (equals(id, L"PINID")) {
            request.role = userTypeOf(value);
            isGood = request.role.has_value();
        } else if (equals(id, L"PIN")) {
            request.pin = TStringHex2Binary(value);
        }
        if (!isGood) {
            // The trace says PINID for both: operators' tools look for this text.
            return badParameter(trace, L"PINID", value);
        }
    }
    return CKR_OK;
}

void reportWrongPin(ScriptContext& script, const Trace& trace, CK_USER_TYPE role) {
    bool lastTry = false;
    const CK_RV rv =
        script.session.isLastTry(role == CKU_USER ? CKF_USER_PIN_FINAL_TRY : CKF_SO_PIN_FINAL_TRY, lastTry);
    if (rv != CKR_OK) {
        trace.failed(L"isLastTry", rv);
        return;
    }
    if (lastTry) {
        script.outputs.push(L"LEFTPINTRY", L"1");
    }
    trace.failed(cryptoki::login.name, CKR_PIN_INCORRECT);
}

Result loginWith(ScriptContext& script, const Trace& trace, CK_USER_TYPE role, SecretBuffer& pin) {
    CK_RV rv = script.session.openSession(CKF_RW_SESSION, false);
    if (rv != CKR_OK) {
        trace.failed(L"openSession", rv);
        return rv;
    }
    SecretBuffer given = SecretBuffer::copyOf(pin.bytes()); // because a module may overwrite it
    rv = login(script, trace, role, given);
    if (rv == CKR_USER_ALREADY_LOGGED_IN || rv == CKR_USER_ANOTHER_ALREADY_LOGGED_IN) {
        // Another user is logged in: log out and try once more.
        rv = script.session.call(trace, cryptoki::logout).run(script.session.handle());
        if (rv != CKR_OK) {
            return rv;
        }
        rv = login(script, trace, role, given);
    }
    if (rv == CKR_PIN_INCORRECT) {
        reportWrongPin(script, trace, role);
    } else if (rv != CKR_OK) {
        trace.failed(cryptoki::login.name, rv);
    } else if (role == CKU_USER) {
        // Later scripts log the user in with this PIN. An SO PIN is never stored.
        script.access.storeUserPin(std::move(pin));
    }
    return rv;
}

} // namespace

Result scripts::authenticate(ScriptContext& script, const Trace& trace) {
    Request request;
    const Result read = readRequest(script, trace, request);
    if (!read.isOk()) {
        return read;
    }
    if (!request.isAuthTypeGiven && script.access.authType() != kAuthTypeStatic) {
        return notFound(trace, L"AUTH_TYPE");
    }
    const CK_USER_TYPE role = request.role.value_or(script.access.userType());
    if (request.pin.isEmpty() &&
        !takeStoredPin(trace, script.access.accessPin(), role, request.role.has_value(), request.pin)) {
        return Result::badParameter();
    }
    if (request.pin.isEmpty()) {
        return notFound(trace, L"PIN");
    }
    return loginWith(script, trace, role, request.pin);
}

} // namespace plugin
