#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "text/SecretBuffer.h"

namespace text {

/// The length of the Base64 text of `bytes` bytes, in characters.
[[nodiscard]] constexpr std::size_t base64Length(std::size_t bytes) noexcept {
    return bytes / 3 * 4 + (bytes % 3 == 0 ? 0 : 4);
}

/// Writes the Base64 text of bytes, padded and without line breaks, to `target`, which has room for base64Length
/// characters.
void encodeBase64(std::span<const std::uint8_t> bytes, wchar_t* target) noexcept;

/// The bytes of Base64 text: complete groups of four characters, the last one padded where needed, with white space
/// allowed between groups. Unused bits of the last character may have any value, because some encoders leave them set.
/// Null when the text is malformed or empty. Throws std::bad_alloc.
[[nodiscard]] SecretBuffer decodeBase64(std::wstring_view digits);

} // namespace text
