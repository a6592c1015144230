#include "text/Base64.h"

#include <array>

#include "text/WhiteSpace.h"

namespace text {

namespace {

constexpr wchar_t kAlphabet[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroup = 4;
constexpr std::uint8_t kLargestWorth = 63;
constexpr std::uint8_t kNoDigit = 0xFF;

/// The value of each ASCII character as a Base64 digit.
constexpr std::array<std::uint8_t, 0x80> kWorths = [] {
    std::array<std::uint8_t, 0x80> worths{};
    worths.fill(kNoDigit);
    for (std::uint8_t i = 0; i < 64; ++i) {
        worths[static_cast<std::size_t>(kAlphabet[i])] = i;
    }
    return worths;
}();

std::uint8_t worthOf(wchar_t character) noexcept {
    const auto code = static_cast<std::uint32_t>(character);
    return code < kWorths.size() ? kWorths[code] : kNoDigit;
}

/// Decodes a group into three bytes and returns how many of them count: fewer for a padded group, 0 for a malformed
/// one.
std::size_t decodeGroup(const wchar_t* group, std::uint8_t* target) noexcept {
    const std::size_t digits = group[3] != L'=' ? 4 : (group[2] != L'=' ? 3 : 2);
    const std::uint32_t first = worthOf(group[0]);
    const std::uint32_t second = worthOf(group[1]);
    const std::uint32_t third = digits > 2 ? worthOf(group[2]) : 0U;
    const std::uint32_t fourth = digits > 3 ? worthOf(group[3]) : 0U;
    if ((first | second | third | fourth) > kLargestWorth) {
        return 0;
    }
    const std::uint32_t bits = first << 18 | second << 12 | third << 6 | fourth;
    target[0] = static_cast<std::uint8_t>(bits >> 16);
    target[1] = static_cast<std::uint8_t>(bits >> 8);
    target[2] = static_cast<std::uint8_t>(bits);
    return digits - 1;
}

} // namespace

void encodeBase64(std::span<const std::uint8_t> bytes, wchar_t* target) noexcept {
    const std::uint8_t* at = bytes.data();
    std::size_t left = bytes.size();
    for (; left >= 3; left -= 3, at += 3, target += kGroup) {
        const std::uint32_t bits = std::uint32_t{at[0]} << 16 | std::uint32_t{at[1]} << 8 | at[2];
        target[0] = kAlphabet[bits >> 18];
        target[1] = kAlphabet[bits >> 12 & 0x3F];
        target[2] = kAlphabet[bits >> 6 & 0x3F];
        target[3] = kAlphabet[bits & 0x3F];
    }
    if (left != 0) {
        const std::uint32_t bits = std::uint32_t{at[0]} << 16 | (left == 2 ? std::uint32_t{at[1]} << 8 : 0);
        target[0] = kAlphabet[bits >> 18];
        target[1] = kAlphabet[bits >> 12 & 0x3F];
        target[2] = left == 2 ? kAlphabet[bits >> 6 & 0x3F] : L'=';
        target[3] = L'=';
    }
}

SecretBuffer decodeBase64(std::wstring_view digits) {
    SecretBuffer bytes(digits.size() / kGroup * 3);
    std::uint8_t* const target = bytes.data();
    std::size_t count = 0;
    bool isComplete = false; // by a padded group
    for (std::size_t at = 0; at < digits.size();) {
        const bool isGroup = digits.size() - at >= kGroup && !isComplete;
        const std::size_t decoded = isGroup ? decodeGroup(digits.data() + at, target + count) : 0;
        if (decoded != 0) {
            isComplete = decoded < 3;
            count += decoded;
            at += kGroup;
        } else if (isWhiteSpace(digits[at])) {
            ++at;
        } else {
            return {};
        }
    }
    bytes.truncate(count);
    return count == 0 ? SecretBuffer() : std::move(bytes);
}

} // namespace text
