#pragma once

#include <cstdint>

#include "cryptoki/cryptoki.h"
#include "host/view/CallReport.h"

namespace host {

/// Reports the fact `slot` for each slot of an initialised module: the reader, the token, its mechanisms, and how many
/// objects a read-only session without a login sees.
class SlotExaminer {
public:
    SlotExaminer(const CallReport& report, CK_FUNCTION_LIST* functions) noexcept
        : m_report(report), m_functions(functions) {}

    void run() const;

private:
    template <auto Member, class... Args>
    CK_RV ask(const char* name, Args... args) const;
    void readSlot(CK_SLOT_ID id) const;
    [[nodiscard]] Json mechanisms(CK_SLOT_ID slot) const;
    void readSession(CK_SLOT_ID slot, Json& found) const;
    [[nodiscard]] std::uint64_t countObjects(CK_SESSION_HANDLE session) const;

    const CallReport& m_report;
    CK_FUNCTION_LIST* m_functions;
};

} // namespace host
