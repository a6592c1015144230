#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Numbers and texts as a person reads them.

namespace host::view {

/// Nanoseconds in three digits with their unit: "881 ns", "2.50 µs", "4.51 ms", "12.3 s", "2h05m".
[[nodiscard]] std::string durationText(std::int64_t nanoseconds);
/// Nanoseconds since 1970 as "2026-01-31 12:00:00.123456 UTC".
[[nodiscard]] std::string instantText(std::int64_t nanoseconds);
/// "1 call", "2 calls".
[[nodiscard]] std::string countText(std::size_t count, const char* noun);
/// "once", "3 times".
[[nodiscard]] std::string timesText(std::size_t count);
/// Text for HTML and SVG, in elements and in quoted attributes. What printable() replaces is replaced here, too.
[[nodiscard]] std::string escaped(std::string_view utf8);

} // namespace host::view
