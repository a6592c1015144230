#pragma once

#include <cstdint>
#include <span>

#include "client/ResultCodes.h"
#include "token/AttributeTemplate.h"
#include "token/Session.h"

namespace scripts {

/// What a script's trace tells of its search; each has its own way.
struct SearchTrace {
    enum class Entries { TypeThenValue, ValueThenType };

    Entries entries = Entries::TypeThenValue;
    bool tellsCount = false;         ///< ": --> ulAttCount=0x…" before the entries
    bool announcesInitTwice = false; ///< ": C_FindObjectsInit" again behind the entries
    bool announcesFindTwice = false; ///< ": C_FindObjects" again before what was found
};

/// A search that finds more than this never ends: a module talking nonsense, not a token.
inline constexpr std::uint32_t kMostObjects = 1U << 16U;

/// The three steps of an object search on a session, one handle at a time. Nothing is finished by itself: some scripts
/// leave a search open on purpose.
class ObjectSearch {
public:
    ObjectSearch(const Session& session, const Trace& trace, SearchTrace style)
        : m_session(session), m_trace(trace), m_style(style) {}

    /// An empty template searches for everything.
    [[nodiscard]] CK_RV init(AttributeTemplate& searched) const;
    /// The next handle; 0 in `count` (which is 0 or 1) when there is none.
    [[nodiscard]] CK_RV find(CK_OBJECT_HANDLE& hObject, CK_ULONG& count) const;
    [[nodiscard]] CK_RV finish() const;
    /// For a search that has found more than kMostObjects: tells it as a failed C_FindObjects, CKR_GENERAL_ERROR.
    [[nodiscard]] CK_RV giveUp() const;

private:
    void traceEntries(const AttributeTemplate& searched) const;

    const Session& m_session;
    const Trace& m_trace;
    SearchTrace m_style;
};

/// The first private key with that identifier. Client code 33011, with a level-1 line that dumps the identifier, when
/// there is none; the search then stays open, and the session's next one copes with that.
[[nodiscard]] Result findPrivateKey(const Session& session, const Trace& trace, SearchTrace style, SecretBuffer keyId,
                                    CK_OBJECT_HANDLE& hKey);

/// ": --> Template[i].type=0x…" for every entry.
void traceEntryTypes(const Trace& trace, const wchar_t* name, const AttributeTemplate& entries);
/// ": --> Template[i].pValue" with a dump.
void traceEntryValue(const Trace& trace, const AttributeTemplate& entries, std::size_t index);
void traceEntryType(const Trace& trace, const wchar_t* name, const AttributeTemplate& entries, std::size_t index);

} // namespace scripts
