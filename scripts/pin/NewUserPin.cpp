#include "scripts/pin/NewUserPin.h"

#include <utility>

#include "scripts/common/ParameterErrors.h"
#include "util/Conversions.h"
#include "util/Texts.h"

namespace plugin {

Result requireList(const ScriptContext& script, const Trace& trace, const wchar_t* firstRequired) {
    if (script.params == nullptr) {
        return noParameters(trace);
    }
    return script.params->isEmpty() ? notFound(trace, firstRequired) : Result(CKR_OK);
}

Result requireValue(const Trace& trace, const Zel::Parameter& parameter, const wchar_t* value) {
    if (equals(parameter.getValue(), value)) {
        return CKR_OK;
    }
    return badParameter(trace, parameter.getId(), parameter.getValue());
}

Result readOfficersKey(const Trace& trace, const Zel::Parameter& parameter, SecretBuffer& key) {
    key = TStringHex2Binary(parameter.getValue());
    if (key.isNull() && !parameter.getValue().empty()) {
        trace.failure(L": Bad parameter %ws", parameter.getId());
        return Result::badParameter();
    }
    return CKR_OK;
}

CK_RV loginAsOfficer(const ScriptContext& script, const Trace& trace, SecretBuffer& key) {
    return script.session.call(trace, cryptoki::login, kUnreported)
        .note(L": --> CKU_SO")
        .run(script.session.handle(), CKU_SO, key.data(), key.size());
}

CK_RV setUserPin(ScriptContext& script, const Trace& trace, NewUserPin& request) {
    SecretBuffer given = SecretBuffer::copyOf(request.pin.bytes()); // because a module may overwrite it
    const CK_RV rv =
        script.session.call(trace, cryptoki::initPIN).run(script.session.handle(), given.data(), given.size());
    if (rv != CKR_OK) {
        return rv;
    }
    script.access.storeUserPin(std::move(request.pin));
    if (request.key.isEmpty()) {
        return CKR_OK;
    }
    return script.session.call(trace, cryptoki::logout).run(script.session.handle());
}

} // namespace plugin
