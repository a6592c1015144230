#include "token/ObjectSearch.h"

#include <algorithm>
#include <utility>

namespace plugin {

void traceEntryType(const Trace& trace, const wchar_t* name, const AttributeTemplate& entries, std::size_t index) {
    trace.write(TraceLevel::Value, L": --> %ws[%d].type=0x%x", name, index, entries.at(index).type);
}

void traceEntryValue(const Trace& trace, const AttributeTemplate& entries, std::size_t index) {
    trace.dump(TraceLevel::Value, entries.valueAt(index), L": --> Template[%d].pValue", index);
}

void traceEntryTypes(const Trace& trace, const wchar_t* name, const AttributeTemplate& entries) {
    for (std::size_t i = 0; i < entries.count(); ++i) {
        traceEntryType(trace, name, entries, i);
    }
}

void ObjectSearch::traceEntries(const AttributeTemplate& searched) const {
    for (std::size_t i = 0; i < searched.count(); ++i) {
        if (m_style.entries == SearchTrace::Entries::TypeThenValue) {
            traceEntryType(m_trace, L"Template", searched, i);
            traceEntryValue(m_trace, searched, i);
        } else {
            traceEntryValue(m_trace, searched, i);
            traceEntryType(m_trace, L"Template", searched, i);
        }
    }
}

CK_RV ObjectSearch::init(AttributeTemplate& searched) const {
    auto call = m_session.call(m_trace, cryptoki::findObjectsInit);
    if (m_style.showsCount) {
        call.in(L"ulAttCount", searched.count());
    }
    traceEntries(searched);
    if (m_style.announcesInitTwice) {
        call.announce();
    }
    return call.run(m_session.handle(), searched.entries(), searched.count());
}

CK_RV ObjectSearch::find(CK_OBJECT_HANDLE& hObject, CK_ULONG& count) const {
    hObject = 0;
    count = 0;
    auto call = m_session.call(m_trace, cryptoki::findObjects);
    const CK_RV rv = call.note(L": --> MaxObjectCount=1").run(m_session.handle(), &hObject, CK_ULONG{1}, &count);
    if (rv != CKR_OK) {
        return rv;
    }
    // The buffer has room for one handle: a larger count is the module's fault.
    count = std::min(count, CK_ULONG{1});
    hObject = count == 0 ? 0 : hObject;
    if (m_style.announcesFindTwice) {
        call.announce();
    }
    m_trace.output(L"hObject", hObject);
    m_trace.write(TraceLevel::Value, L": <-- ObjectCount=%d", count);
    return CKR_OK;
}

CK_RV ObjectSearch::failAsEndless() const {
    m_trace.failed(cryptoki::findObjects.name, CKR_GENERAL_ERROR);
    return CKR_GENERAL_ERROR;
}

CK_RV ObjectSearch::finish() const {
    return m_session.call(m_trace, cryptoki::findObjectsFinal).run(m_session.handle());
}

Result findPrivateKey(const Session& session, const Trace& trace, SearchTrace style, SecretBuffer keyId,
                      CK_OBJECT_HANDLE& hKey) {
    AttributeTemplate searched(2);
    searched.setNumber(CKA_CLASS, CKO_PRIVATE_KEY);
    searched.setBytes(CKA_ID, std::move(keyId));
    const ObjectSearch search(session, trace, style);
    CK_ULONG count = 0;
    if (const CK_RV rv = search.init(searched); rv != CKR_OK) {
        return rv;
    }
    if (const CK_RV rv = search.find(hKey, count); rv != CKR_OK) {
        return rv;
    }
    if (count == 0 || hKey == 0) {
        trace.dump(TraceLevel::Failure, searched.valueAt(1), L" : key not found");
        return Result::client(ClientCode::kNotFound);
    }
    return search.finish();
}

} // namespace plugin
