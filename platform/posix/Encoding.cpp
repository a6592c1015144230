#include "platform/Encoding.h"

#include <algorithm>

#include "platform/EncodingParts.h"

// Wide characters are whole code points here, so a surrogate is malformed wherever it stands.

namespace platform {

namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

std::uint32_t codePointOf(wchar_t character) noexcept {
    const auto value = static_cast<std::uint32_t>(character);
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    return isSurrogate || value > kLastCodePoint ? static_cast<std::uint32_t>(parts::kReplacement) : value;
}

std::size_t utf8Size(std::uint32_t codePoint) noexcept {
    if (codePoint < 0x80) {
        return 1;
    }
    if (codePoint < 0x800) {
        return 2;
    }
    return codePoint < 0x10000 ? 3 : 4;
}

bool isAscii(wchar_t character) noexcept {
    return static_cast<std::uint32_t>(character) < 0x80;
}

/// Looks at all of the text without stopping: many characters at once that way, and a trace is nothing but ASCII.
bool areAscii(const wchar_t* text, std::size_t length) noexcept {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < length; ++i) {
        bits |= static_cast<std::uint32_t>(text[i]);
    }
    return bits < 0x80;
}

std::size_t utf8Needed(const wchar_t* text, std::size_t length) noexcept {
    std::size_t needed = 0;
    for (std::size_t i = 0; i < length; ++i) {
        needed += isAscii(text[i]) ? 1 : utf8Size(codePointOf(text[i]));
    }
    return needed;
}

/// Of a code point beyond ASCII.
char* putUtf8(std::uint32_t codePoint, char* target) noexcept {
    const std::size_t size = utf8Size(codePoint);
    for (std::size_t i = size - 1; i > 0; --i) {
        target[i] = static_cast<char>(0x80 | (codePoint & 0x3F));
        codePoint >>= 6;
    }
    constexpr unsigned kLeadMarks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    target[0] = static_cast<char>(kLeadMarks[size] | codePoint);
    return target + size;
}

/// One character of well-formed UTF-8; moves `at` behind it.
wchar_t takeUtf8(const char* bytes, std::size_t& at) noexcept {
    const auto lead = static_cast<unsigned char>(bytes[at++]);
    if (lead < 0x80) {
        return static_cast<wchar_t>(lead);
    }
    const int continuations = lead < 0xE0 ? 1 : (lead < 0xF0 ? 2 : 3);
    auto codePoint = static_cast<std::uint32_t>(lead & (0x3F >> continuations));
    for (int i = 0; i < continuations; ++i) {
        codePoint = codePoint << 6 | (static_cast<unsigned char>(bytes[at++]) & 0x3FU);
    }
    return static_cast<wchar_t>(codePoint);
}

std::size_t countCharacters(const char* bytes, std::size_t length) noexcept {
    std::size_t count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        count += (static_cast<unsigned char>(bytes[i]) & 0xC0) != 0x80 ? 1 : 0;
    }
    return count;
}

/// The 24 bits of a Base64 group; what stands for padding gives nonsense.
unsigned groupOf(const wchar_t* digits) noexcept {
    const auto digit = [digits](std::size_t at) -> unsigned {
        return parts::knownDigitOf(parts::kBase64Table, digits[at]);
    };
    return digit(0) << 18 | digit(1) << 12 | digit(2) << 6 | digit(3);
}

std::uint64_t bigEndian(const std::uint8_t* bytes) noexcept {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

} // namespace

std::size_t wideToUtf8(const wchar_t* text, std::size_t length, char* target, std::size_t room) noexcept {
    const bool isPlain = areAscii(text, length);
    const std::size_t needed = isPlain ? length : utf8Needed(text, length);
    if (target == nullptr) {
        return needed;
    }
    if (needed > room) {
        return 0;
    }
    if (isPlain) {
        std::transform(text, text + length, target, [](wchar_t character) { return static_cast<char>(character); });
        return needed;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (isAscii(text[i])) {
            *target++ = static_cast<char>(text[i]);
        } else {
            target = putUtf8(codePointOf(text[i]), target);
        }
    }
    return needed;
}

namespace parts {

std::size_t convertUtf8(const char* bytes, std::size_t length, wchar_t* target, std::size_t room) noexcept {
    const std::size_t needed = countCharacters(bytes, length);
    if (target == nullptr) {
        return needed;
    }
    if (needed > room) {
        return 0;
    }
    for (std::size_t at = 0; at < length;) {
        *target++ = takeUtf8(bytes, at);
    }
    return needed;
}

bool convertHexadecimal(const wchar_t* digits, std::size_t length, std::uint8_t* target) noexcept {
    for (std::size_t i = 0; i < length; i += 2) {
        *target++ = static_cast<std::uint8_t>(knownDigitOf(kHexadecimalTable, digits[i]) << 4 |
                                              knownDigitOf(kHexadecimalTable, digits[i + 1]));
    }
    return true;
}

bool convertBase64(const wchar_t* digits, std::size_t length, std::uint8_t* target, std::size_t count) noexcept {
    const wchar_t* const lastGroup = digits + length - 4;
    for (; digits != lastGroup; digits += 4, target += 3) {
        const unsigned value = groupOf(digits);
        target[0] = static_cast<std::uint8_t>(value >> 16);
        target[1] = static_cast<std::uint8_t>(value >> 8);
        target[2] = static_cast<std::uint8_t>(value);
    }
    // It may be padded.
    const unsigned value = groupOf(lastGroup);
    count -= length / 4 * 3 - 3;
    for (std::size_t i = 0; i < count; ++i) {
        target[i] = static_cast<std::uint8_t>(value >> (16 - 8 * i));
    }
    return true;
}

bool writeBase64(const std::uint8_t* bytes, std::size_t length, wchar_t* target) noexcept {
    static constexpr wchar_t kAlphabet[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    // Two groups at once while there are eight bytes to be read at once.
    for (; length >= 8; length -= 6, bytes += 6, target += 8) {
        const std::uint64_t groups = bigEndian(bytes);
        for (std::size_t i = 0; i < 8; ++i) {
            target[i] = kAlphabet[groups >> (58 - 6 * i) & 0x3F];
        }
    }
    for (; length >= 3; length -= 3, bytes += 3, target += 4) {
        const unsigned group = unsigned{bytes[0]} << 16 | unsigned{bytes[1]} << 8 | bytes[2];
        target[0] = kAlphabet[group >> 18];
        target[1] = kAlphabet[group >> 12 & 0x3F];
        target[2] = kAlphabet[group >> 6 & 0x3F];
        target[3] = kAlphabet[group & 0x3F];
    }
    if (length != 0) {
        const int group = bytes[0] << 16 | (length == 2 ? bytes[1] << 8 : 0);
        target[0] = kAlphabet[group >> 18];
        target[1] = kAlphabet[group >> 12 & 0x3F];
        target[2] = length == 2 ? kAlphabet[group >> 6 & 0x3F] : L'=';
        target[3] = L'=';
    }
    return true;
}

} // namespace parts

} // namespace platform
