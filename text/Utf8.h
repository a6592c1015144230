#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

// Wide text is UTF-16 where a wide character has 16 bits, and one code point a character elsewhere. Malformed input
// becomes U+FFFD: in wide text each lone surrogate and each value past U+10FFFF, in UTF-8 each longest part that could
// begin a character.

/// Writes wide text as UTF-8 to `target`, without a terminator, and returns the number of bytes. With a null `target`
/// it returns the number needed. When `room` bytes are too few it returns 0, and the content of `target` means nothing.
[[nodiscard]] std::size_t wideToUtf8(const wchar_t* wide, std::size_t length, char* target, std::size_t room) noexcept;
/// Writes UTF-8 as wide text in the same way.
[[nodiscard]] std::size_t utf8ToWide(const char* utf8, std::size_t length, wchar_t* target, std::size_t room) noexcept;

/// The same for strings, which are not wiped: not for secrets.
[[nodiscard]] std::string toUtf8(std::wstring_view wide);
[[nodiscard]] std::wstring toWide(std::string_view utf8);

} // namespace text
