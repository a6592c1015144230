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
    // Reckoned and not looked up: the compiler then does many at once.
    constexpr auto kDigit = [](unsigned int value) {
        return static_cast<Character>(value < 10 ? '0' + value : 'A' - 10 + value);
    };
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        target[2 * at] = kDigit(bytes[at] >> 4U);
        target[2 * at + 1] = kDigit(bytes[at] & 0xFU);
    }
    return target + 2 * bytes.size();
}

/// The bytes of hexadecimal text: pairs of digits of either case, with white space allowed between pairs. Null when the
/// text is malformed or empty. Throws std::bad_alloc.
[[nodiscard]] SecretBuffer decodeHexadecimal(std::wstring_view digits);

} // namespace text
