#pragma once

#include <cstdint>

#include "token/AttributeTemplate.h"
#include "token/Result.h"
#include "token/Session.h"

namespace plugin {

/// How a script's trace shows its search; each has its own way.
struct SearchTrace {
    enum class Entries { TypeThenValue, ValueThenType };

    Entries entries = Entries::TypeThenValue;
    bool showsCount = false;         ///< ": --> ulAttCount=0x…" before the entries
    bool announcesInitTwice = false; ///< ": C_FindObjectsInit" again after the entries
    bool announcesFindTwice = false; ///< ": C_FindObjects" again before what was found
};

/// The three steps of an object search on a session, one handle at a time.
///
///     const ObjectSearch search(session, trace, {});
///     CK_RV rv = search.init(searched);
///     while (rv == CKR_OK && (rv = search.find(hObject, count)) == CKR_OK && count != 0) { use(hObject); }
///     rv = search.finish();
///
/// No destructor finishes a search: some scripts leave one open on purpose.
class ObjectSearch {
public:
    /// A search that finds more objects is stopped, because a broken module might never end it.
    static constexpr std::uint32_t kMostObjects = 1U << 16U;

    ObjectSearch(const Session& session, const Trace& trace, SearchTrace style)
        : m_session(session), m_trace(trace), m_style(style) {}

    /// An empty template searches for everything.
    [[nodiscard]] CK_RV init(AttributeTemplate& searched) const;
    /// The next handle; `count` is 1, or 0 when there are no more.
    [[nodiscard]] CK_RV find(CK_OBJECT_HANDLE& hObject, CK_ULONG& count) const;
    [[nodiscard]] CK_RV finish() const;
    /// For a search that has found more than kMostObjects: traces a failed C_FindObjects. Returns CKR_GENERAL_ERROR.
    [[nodiscard]] CK_RV failAsEndless() const;

private:
    void traceEntries(const AttributeTemplate& searched) const;

    const Session& m_session;
    const Trace& m_trace;
    SearchTrace m_style;
};

/// Finds the first private key with that identifier. Without such a key the result is client code 33011, a level-1 line
/// dumps the identifier, and the search stays open.
[[nodiscard]] Result findPrivateKey(const Session& session, const Trace& trace, SearchTrace style, SecretBuffer keyId,
                                    CK_OBJECT_HANDLE& hKey);

/// ": --> Template[i].type=0x…" for every entry.
void traceEntryTypes(const Trace& trace, const wchar_t* name, const AttributeTemplate& entries);
/// ": --> Template[i].pValue" with a dump.
void traceEntryValue(const Trace& trace, const AttributeTemplate& entries, std::size_t index);
void traceEntryType(const Trace& trace, const wchar_t* name, const AttributeTemplate& entries, std::size_t index);

} // namespace plugin
