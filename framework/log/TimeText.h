#pragma once

#include <cstdint>
#include <string_view>

namespace Ry::log {

/// Instants as a line's text: 2026-01-31T12:00:00.123456Z.
class TimeText {
public:
    /// Of microseconds since 1970, UTC, from the year 0 to 9999. The text lives until the next call.
    [[nodiscard]] std::string_view of(std::int64_t time) noexcept;

private:
    void writeSecond(std::int64_t second) noexcept;

    // A log writes many lines a second: up to the second, the text of the last time is kept. It begins as 1970's.
    char m_text[28] = "1970-01-01T00:00:00.000000Z";
    std::int64_t m_second = 0;
};

} // namespace Ry::log
