#include "scripts/Scripts.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/pin/NewUserPin.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

struct Request : NewUserPin {
    bool isUnlockTypeGiven = false;
};

Result readParameter(const Trace& trace, const Zel::Parameter& parameter, Request& request) {
    const Zel::TString& id = parameter.getId();
    if (equals(id, L"PINID")) {
        request.isPinIdGiven = true;
        return requireValue(trace, parameter, L"USER");
    }
    if (equals(id, L"UNLOCK_TYPE")) {
        request.isUnlockTypeGiven = true;
        return requireValue(trace, parameter, L"STATIC");
    }
    if (equals(id, L"UNLOCK_KEYID")) {
        return requireValue(trace, parameter, L"SO");
    }
    if (equals(id, L"UNLOCK_KEY")) {
        return readOfficersKey(trace, parameter, request.key);
    }
    // The first "PIN" with a value counts.
    if (equals(id, L"PIN") && request.pin.isEmpty()) {
        request.pin = TStringHex2Binary(parameter.getValue());
    }
    return CKR_OK;
}

Result readRequest(const ScriptContext& script, const Trace& trace, Request& request) {
    for (const Zel::Parameter& parameter : elements(script.params)) {
        if (const Result read = readParameter(trace, parameter, request); !read.isOk()) {
            return read;
        }
    }
    if (!request.isUnlockTypeGiven) {
        return notFound(trace, L"UNLOCK_TYPE");
    }
    if (!request.isPinIdGiven) {
        return notFound(trace, L"PINID");
    }
    // The trace says NEW_PIN for the parameter "PIN": operators' tools look for this text.
    return request.pin.isEmpty() ? notFound(trace, L"NEW_PIN") : Result(CKR_OK);
}

void reportRefusedKey(ScriptContext& script, const Trace& trace, CK_RV refusal) {
    if (refusal == CKR_PIN_INCORRECT || refusal == CKR_PIN_INVALID) {
        bool lastTry = false;
        const CK_RV rv = script.session.isLastTry(CKF_SO_PIN_FINAL_TRY, lastTry);
        if (rv != CKR_OK) {
            trace.failed(L"isLastTry", rv);
            return;
        }
        if (lastTry) {
            script.outputs.push(
                Zel::Parameter(Zel::ParameterEncoding::Plain, L"LEFTUNLOCKTRY", Zel::ParameterType::Number, L"1"));
        }
    }
    trace.failed(cryptoki::login.name, refusal);
}

CK_RV beginUnlock(ScriptContext& script, const Trace& trace, SecretBuffer& key) {
    CK_RV rv = script.session.openSession(CKF_RW_SESSION, false);
    if (rv != CKR_OK) {
        trace.failed(L"openSession", rv);
        return rv;
    }
    if (key.isEmpty()) {
        return CKR_OK;
    }
    rv = loginAsOfficer(script, trace, key);
    if (rv != CKR_OK) {
        reportRefusedKey(script, trace, rv);
    }
    return rv;
}

} // namespace

Result scripts::unlockAuthenticator(ScriptContext& script, const Trace& trace) {
    if (const Result list = requireList(script, trace, L"UNLOCK_TYPE"); !list.isOk()) {
        return list;
    }
    Request request;
    if (const Result read = readRequest(script, trace, request); !read.isOk()) {
        return read;
    }
    if (const CK_RV rv = beginUnlock(script, trace, request.key); rv != CKR_OK) {
        return rv;
    }
    return setUserPin(script, trace, request);
}

} // namespace plugin
