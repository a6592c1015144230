#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// What the common half of the encodings (platform/Encoding.cpp) and the system's half share. The common half decides
// which texts are well formed, so that both systems accept exactly the same ones; the system's half converts only runs
// that have passed, without white space in them.

namespace platform::parts {

inline constexpr wchar_t kReplacement = 0xFFFD;

/// Wide text of well-formed UTF-8, `length` not 0. Units written, or needed when `target` is null; 0 when `room` is too
/// small.
[[nodiscard]] std::size_t convertUtf8(const char* bytes, std::size_t length, wchar_t* target,
                                      std::size_t room) noexcept;

/// Bytes of an even number of hexadecimal digits, not 0, into a target with room for all of them. False when the system
/// refuses.
[[nodiscard]] bool convertHexadecimal(const wchar_t* digits, std::size_t length, std::uint8_t* target) noexcept;

/// The same of complete Base64 groups, which stand for `count` bytes.
[[nodiscard]] bool convertBase64(const wchar_t* digits, std::size_t length, std::uint8_t* target,
                                 std::size_t count) noexcept;

/// Base64 text of bytes, `length` not 0, into a target with room for all of it.
[[nodiscard]] bool writeBase64(const std::uint8_t* bytes, std::size_t length, wchar_t* target) noexcept;

/// What a character is worth in an encoding; kNoDigit when it does not belong to it.
inline constexpr std::uint8_t kNoDigit = 0xFF;
using DigitTable = std::array<std::uint8_t, 256>;

consteval DigitTable makeHexadecimalTable() {
    DigitTable table{};
    table.fill(kNoDigit);
    for (std::uint8_t i = 0; i < 10; ++i) {
        table['0' + i] = i;
    }
    for (std::uint8_t i = 0; i < 6; ++i) {
        table['A' + i] = table['a' + i] = static_cast<std::uint8_t>(10 + i);
    }
    return table;
}

consteval DigitTable makeBase64Table() {
    DigitTable table{};
    table.fill(kNoDigit);
    for (std::uint8_t i = 0; i < 26; ++i) {
        table['A' + i] = i;
        table['a' + i] = static_cast<std::uint8_t>(26 + i);
    }
    for (std::uint8_t i = 0; i < 10; ++i) {
        table['0' + i] = static_cast<std::uint8_t>(52 + i);
    }
    table['+'] = 62;
    table['/'] = 63;
    return table;
}

inline constexpr DigitTable kHexadecimalTable = makeHexadecimalTable();
inline constexpr DigitTable kBase64Table = makeBase64Table();

/// Of a character that is known to belong to the encoding.
[[nodiscard]] inline std::uint8_t knownDigitOf(const DigitTable& table, wchar_t character) noexcept {
    return table[static_cast<std::uint8_t>(character)];
}

/// Whether all of the characters belong to the encoding.
template <typename... Characters>
[[nodiscard]] bool areDigits(const DigitTable& table, Characters... characters) noexcept {
    // No digit has all the bits of kNoDigit, nor have several together.
    return (static_cast<std::uint32_t>(characters) | ...) < table.size() &&
           (knownDigitOf(table, characters) | ...) != kNoDigit;
}

} // namespace platform::parts
