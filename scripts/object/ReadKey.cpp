#include "scripts/common/Keywords.h"
#include "scripts/common/ParameterErrors.h"
#include "scripts/object/ObjectReaders.h"
#include "scripts/object/ReadObjects.h"
#include "token/AttributeReading.h"

namespace plugin {

namespace {

CK_RV readOne(ScriptContext& script, const Trace& trace, CK_OBJECT_HANDLE hObject, std::uint32_t number,
              AttributeBudget& budget) {
    ReadAttribute attributes[] = {{CKA_MODULUS, {}}, {CKA_PUBLIC_EXPONENT, {}}};
    const CK_RV rv = readAttributes(script.session, trace, hObject, attributes, budget);
    if (rv != CKR_OK) {
        return rv;
    }
    const auto push = [&](const wchar_t* idFormat, const SecretBuffer& value) {
        script.outputs.pushBase64(Zel::TString().format(idFormat, number), value.data(), value.size());
    };
    push(L"MODULUS%u", attributes[0].value);
    push(L"PUBLICEXPONENT%u", attributes[1].value);
    return CKR_OK;
}

Result search(ScriptContext& script, const Trace& trace) {
    AttributeTemplate searched(
        8, {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_KEY_TYPE, CKA_MODIFIABLE, CKA_LABEL, CKA_SUBJECT, CKA_ID});
    searched.setNumber(CKA_CLASS, CKO_PUBLIC_KEY);
    searched.endFixed();
    const Result applied =
        applyKeywords(trace, *script.params, keySearchKeywords(), UnreadableLabel::Counted, &searched);
    return applied.isOk() ? readObjects(script, trace, searched, readOne) : applied;
}

} // namespace

Result readKey(ScriptContext& script) {
    return traced(L"readKey", [&](const Trace& trace) { return search(script, trace); });
}

} // namespace plugin
