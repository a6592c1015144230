#include "scripts/Scripts.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/pin/NewUserPin.h"
#include "util/Conversions.h"
#include "util/Elements.h"
#include "util/Texts.h"

namespace plugin {

namespace {

struct Request : NewUserPin {
    bool isKeyIdGiven = false;
};

Result readParameter(const Trace& trace, const Zel::Parameter& parameter, Request& request) {
    const Zel::TString& id = parameter.getId();
    if (equals(id, L"INIT_KEYID")) {
        request.isKeyIdGiven = true;
        return requireValue(trace, parameter, L"SO");
    }
    if (equals(id, L"INIT_KEY")) {
        return readOfficersKey(trace, parameter, request.key);
    }
    if (equals(id, L"PINID")) {
        request.isPinIdGiven = true;
        return requireValue(trace, parameter, L"USER");
    }
    if (equals(id, L"PIN")) {
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
    if (!request.isKeyIdGiven) {
        return notFound(trace, L"INIT_KEYID");
    }
    if (!request.isPinIdGiven) {
        return notFound(trace, L"PINID");
    }
    if (request.pin.isEmpty()) {
        request.pin = SecretBuffer::copyOf(script.access.userPin());
    }
    return request.pin.isEmpty() ? notFound(trace, L"PIN") : Result(CKR_OK);
}

/// Without a key no session is opened: the script relies on the login of an earlier script.
CK_RV beginInit(const ScriptContext& script, const Trace& trace, SecretBuffer& key) {
    if (key.isEmpty()) {
        return CKR_OK;
    }
    CK_RV rv = script.session.openSession(CKF_RW_SESSION, false);
    if (rv != CKR_OK) {
        trace.failed(cryptoki::openSession.name, rv);
        return rv;
    }
    rv = loginAsOfficer(script, trace, key);
    if (rv != CKR_OK) {
        trace.failed(cryptoki::login.name, rv);
    }
    return rv;
}

} // namespace

Result scripts::initAuthenticator(ScriptContext& script, const Trace& trace) {
    if (const Result list = requireList(script, trace, L"INIT_KEYID"); !list.isOk()) {
        return list;
    }
    Request request;
    if (const Result read = readRequest(script, trace, request); !read.isOk()) {
        return read;
    }
    if (const CK_RV rv = beginInit(script, trace, request.key); rv != CKR_OK) {
        return rv;
    }
    return setUserPin(script, trace, request);
}

} // namespace plugin
