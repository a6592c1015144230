#pragma once

#include <cstdint>
#include <string_view>

namespace Ry::log {

/// Instants as a line's text: 2026-01-31T12:00:00.123456Z.
class TimeText {
public:
    /// The text of an instant in microseconds since 1970 (UTC), for the years 0 to 9999. It lives until the next call.
    [[nodiscard]] std::string_view of(std::int64_t time) noexcept;

private:
    void writeSecond(std::int64_t second) noexcept;

    // The text of the last instant, reused up to the second, because a log writes many lines a second. It starts at
    // 1970.
    char m_text[28] = "1970-01-01T00:00:00.000000Z";
    std::int64_t m_second = 0;
};

} // namespace Ry::log
