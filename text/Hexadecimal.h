#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "text/SecretBuffer.h"

namespace text {

/// Writes the upper-case hexadecimal digits of bytes, two a byte, to `target`. Returns the end of the digits.
template <class Character>
Character* encodeHexadecimal(std::span<const std::uint8_t> bytes, Character* target) noexcept {
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const std::uint8_t byte : bytes) {
        *target++ = static_cast<Character>(kDigits[byte >> 4]);
        *target++ = static_cast<Character>(kDigits[byte & 0xF]);
    }
    return target;
}

/// The bytes of hexadecimal text: pairs of digits of either case, with white space allowed between pairs. Null when the
/// text is malformed or empty. Throws std::bad_alloc.
[[nodiscard]] SecretBuffer decodeHexadecimal(std::wstring_view digits);

} // namespace text
