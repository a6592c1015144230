#include "scripts/object/ReadObjects.h"

namespace plugin {

Result readObjects(ScriptContext& script, const Trace& trace, AttributeTemplate& searched, ReadObject read) {
    const ObjectSearch search(script.session, trace,
                              {.entries = SearchTrace::Entries::ValueThenType, .showsCount = true});
    CK_RV rv = search.init(searched);
    if (rv != CKR_OK) {
        return rv;
    }
    const std::uint32_t countIndex = script.outputs.nextIndex();
    script.outputs.push(Zel::Parameter(Zel::ParameterEncoding::Plain, L"COUNT", Zel::ParameterType::Number, L"0"));
    AttributeBudget budget;
    std::uint32_t total = 0;
    for (;;) {
        CK_OBJECT_HANDLE hObject = 0;
        CK_ULONG count = 0;
        rv = search.find(hObject, count);
        if (rv != CKR_OK) {
            return rv;
        }
        if (count == 0) {
            break;
        }
        if (total == ObjectSearch::kMostObjects) {
            return search.failAsEndless();
        }
        rv = read(script, trace, hObject, ++total, budget);
        if (rv != CKR_OK) {
            return rv;
        }
    }
    rv = search.finish();
    script.outputs.setValue(countIndex, hexNumberText(total));
    return rv;
}

} // namespace plugin
