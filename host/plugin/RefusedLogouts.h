#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace host {

struct FailedCall;

/// Counts how often a token has refused C_Logout in a row. The plug-in tries again without limit, at first at once and
/// then after longer and longer waits: a person should read what the program waits for.
class RefusedLogouts {
public:
    void clear() noexcept { m_count = 0; }

    /// Takes the next failed call. Returns what to show a person, with a line end, at the eleventh refusal in a row,
    /// from which on the plug-in waits, and at each tenth after it; otherwise nothing.
    [[nodiscard]] std::optional<std::string> note(const FailedCall& call);

private:
    std::uint32_t m_count = 0;
};

} // namespace host
