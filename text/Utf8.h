#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

// Wide text is UTF-16 where a wide character has 16 bits, and one code point a character elsewhere. What is malformed
// becomes U+FFFD: in wide text each lone surrogate and each value past U+10FFFF, in UTF-8 each maximal part that could
// have begun a character.

/// UTF-8 of wide text into `target` of `room` bytes, without terminator. Returns the number of bytes written, or needed
/// when `target` is null; 0 when `room` is too small, and what stands in `target` then means nothing.
[[nodiscard]] std::size_t wideToUtf8(const wchar_t* wide, std::size_t length, char* target, std::size_t room) noexcept;
/// Wide text of UTF-8, in the same way.
[[nodiscard]] std::size_t utf8ToWide(const char* utf8, std::size_t length, wchar_t* target, std::size_t room) noexcept;

/// The same as strings, which are not wiped: not for secrets.
[[nodiscard]] std::string toUtf8(std::wstring_view wide);
[[nodiscard]] std::wstring toWide(std::string_view utf8);

} // namespace text
