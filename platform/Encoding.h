#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

// Conversions between wide text, UTF-8, Base64 and hexadecimal text. All of them work in two passes on the caller's
// memory: with a null target they return the exact length that the second call will write. No terminator is read or
// written: lengths rule. Nothing is allocated that outlives the call, and what is, is wiped.

namespace platform {

/// UTF-8 bytes of wide text. Malformed input (a lone surrogate, a value past U+10FFFF) becomes U+FFFD.
/// Returns the number of bytes written, or needed when `target` is null; 0 when `room` is too small.
[[nodiscard]] std::size_t wideToUtf8(const wchar_t* text, std::size_t length, char* target, std::size_t room) noexcept;

/// Wide text of UTF-8 bytes: surrogate pairs on Windows, one unit a code point on Linux. Malformed input becomes
/// U+FFFD as Windows does it: one for each maximal part that could have begun a character.
[[nodiscard]] std::size_t utf8ToWide(const char* bytes, std::size_t length, wchar_t* target, std::size_t room) noexcept;

/// Bytes of hexadecimal text: pairs of digits of either case, white space allowed between pairs, nothing else.
/// Nothing when the text is malformed or `room` is too small. The empty text is malformed.
[[nodiscard]] std::optional<std::size_t> decodeHexadecimal(const wchar_t* text, std::size_t length,
                                                           std::uint8_t* target, std::size_t room) noexcept;

/// Bytes of Base64 text: complete groups of four with their padding, white space allowed between groups, nothing else.
/// Nothing when the text is malformed or `room` is too small. The empty text is malformed.
[[nodiscard]] std::optional<std::size_t> decodeBase64(const wchar_t* text, std::size_t length, std::uint8_t* target,
                                                      std::size_t room) noexcept;

/// Base64 text of bytes, padded, without line breaks. Returns the number of characters written, or needed.
[[nodiscard]] std::size_t encodeBase64(const std::uint8_t* bytes, std::size_t length, wchar_t* target,
                                       std::size_t room) noexcept;

} // namespace platform
