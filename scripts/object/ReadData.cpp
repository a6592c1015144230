#include "scripts/Scripts.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/common/Parameters.h"
#include "scripts/object/ObjectReaders.h"
#include "util/Texts.h"

namespace plugin {

/// Reading needs no login, and the session stays open. An operation that names no kind of object reads nothing.
Result scripts::readData(ScriptContext& script, const Trace& trace) {
    const CK_RV rv = script.session.openSession(0, false);
    if (rv != CKR_OK) {
        trace.failed(L"openSession", rv);
        return rv;
    }
    if (script.params == nullptr) {
        return noParameters(trace);
    }
    const Zel::Parameter* const type = firstNamed(*script.params, L"OBJ_TYPE");
    if (type == nullptr) {
        return CKR_OK;
    }
    if (equals(type->getValue(), L"CERTIFICATE")) {
        return readCertificate(script);
    }
    if (equals(type->getValue(), L"KEY_PAIR")) {
        return readKey(script);
    }
    return badParameter(trace, type->getId(), type->getValue());
}

} // namespace plugin
