#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "text/SecretBuffer.h"

namespace text {

/// Upper-case hexadecimal digits of bytes, two each, into room for as many. Returns the end of what was written.
template <class Character>
Character* encodeHexadecimal(std::span<const std::uint8_t> bytes, Character* target) noexcept {
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const std::uint8_t byte : bytes) {
        *target++ = static_cast<Character>(kDigits[byte >> 4]);
        *target++ = static_cast<Character>(kDigits[byte & 0xF]);
    }
    return target;
}

/// Bytes of hexadecimal text: pairs of digits of either case, white space allowed between pairs, nothing else. Null
/// when the text is malformed, as the empty text is. Throws std::bad_alloc.
[[nodiscard]] SecretBuffer decodeHexadecimal(std::wstring_view digits);

} // namespace text
