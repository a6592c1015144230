#include "scripts/common/Keywords.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/object/ObjectReaders.h"
#include "scripts/object/ReadObjects.h"
#include "token/AttributeReading.h"

namespace plugin {

namespace {

CK_RV readOne(ScriptContext& script, const Trace& trace, CK_OBJECT_HANDLE hObject, std::uint32_t number,
              AttributeBudget& budget) {
    ReadAttribute value{CKA_VALUE, {}};
    const CK_RV rv = readAttributes(script.session, trace, hObject, {&value, 1}, budget);
    if (rv == CKR_OK) {
        script.outputs.pushBase64(Zel::TString().format(L"DATA%u", number), value.value.data(), value.value.size());
    }
    return rv;
}

Result search(ScriptContext& script, const Trace& trace) {
    AttributeTemplate searched(10, {CKA_CLASS, CKA_LABEL, CKA_SUBJECT, CKA_ID, CKA_ISSUER, CKA_SERIAL_NUMBER,
                                    CKA_MODIFIABLE, CKA_TOKEN, CKA_PRIVATE, CKA_CERTIFICATE_CATEGORY});
    searched.setNumber(CKA_CLASS, CKO_CERTIFICATE);
    searched.endFixed();
    const Result applied =
        applyKeywords(trace, *script.params, certificateKeywords(), UnreadableLabel::Counted, &searched);
    return applied.isOk() ? readObjects(script, trace, searched, readOne) : applied;
}

} // namespace

Result readCertificate(ScriptContext& script) {
    return traced(L"readCertificate", [&](const Trace& trace) { return search(script, trace); });
}

} // namespace plugin
