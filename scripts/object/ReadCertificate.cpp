#include "scripts/common/Faults.h"
#include "scripts/common/Keywords.h"
#include "scripts/object/ReadObjects.h"
#include "scripts/object/Readers.h"
#include "token/AttributeReading.h"

namespace {

CK_RV readOne(Script& script, const Trace& trace, CK_OBJECT_HANDLE hObject, std::uint32_t number,
              scripts::AttributeBudget& budget) {
    scripts::ReadAttribute value{CKA_VALUE, {}};
    const CK_RV rv = scripts::readAttributes(script.session, trace, hObject, {&value, 1}, budget);
    if (rv == CKR_OK) {
        script.outputs.pushBase64(Zel::TString().format(L"DATA%u", number), value.value.data(), value.value.size());
    }
    return rv;
}

Result search(Script& script, const Trace& trace) {
    if (script.params == nullptr) {
        return scripts::noParameters(trace);
    }
    AttributeTemplate searched(10, {CKA_CLASS, CKA_LABEL, CKA_SUBJECT, CKA_ID, CKA_ISSUER, CKA_SERIAL_NUMBER,
                                    CKA_MODIFIABLE, CKA_TOKEN, CKA_PRIVATE, CKA_CERTIFICATE_CATEGORY});
    searched.setNumber(CKA_CLASS, CKO_CERTIFICATE);
    searched.closeHead();
    const Result applied = scripts::applyKeywords(trace, *script.params, scripts::certificateKeywords(),
                                                  scripts::UnreadableLabel::Counted, &searched);
    return applied.isOk() ? scripts::readObjects(script, trace, searched, readOne) : applied;
}

} // namespace

Result scripts::readCertificate(Script& script) {
    return traced(L"readCertificate", [&](const Trace& trace) { return search(script, trace); });
}
