#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "text/SecretBuffer.h"

namespace text {

/// How many characters the Base64 text of so many bytes has.
[[nodiscard]] constexpr std::size_t base64Length(std::size_t bytes) noexcept {
    return bytes / 3 * 4 + (bytes % 3 == 0 ? 0 : 4);
}

/// Base64 text of bytes, padded, without line breaks, into room for base64Length characters.
void encodeBase64(std::span<const std::uint8_t> bytes, wchar_t* target) noexcept;

/// Bytes of Base64 text: complete groups of four characters, the last one padded where needed, white space allowed
/// between groups, nothing else. Bits of the last character that belong to no byte may have any value, because some
/// encoders leave them set. Null when the text is malformed, as the empty text is. Throws std::bad_alloc.
[[nodiscard]] SecretBuffer decodeBase64(std::wstring_view digits);

} // namespace text
