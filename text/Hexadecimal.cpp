#include "text/Hexadecimal.h"

#include "text/WhiteSpace.h"

namespace text {

namespace {

constexpr unsigned int kNotADigit = 0x10;

unsigned int digitOf(wchar_t character) noexcept {
    if (character >= L'0' && character <= L'9') {
        return static_cast<unsigned int>(character - L'0');
    }
    if (character >= L'A' && character <= L'F') {
        return static_cast<unsigned int>(character - L'A') + 10;
    }
    return character >= L'a' && character <= L'f' ? static_cast<unsigned int>(character - L'a') + 10 : kNotADigit;
}

} // namespace

SecretBuffer decodeHexadecimal(std::wstring_view digits) {
    SecretBuffer bytes(digits.size() / 2);
    std::size_t count = 0;
    for (std::size_t at = 0; at < digits.size();) {
        if (isWhiteSpace(digits[at])) {
            ++at;
            continue;
        }
        const unsigned int high = digitOf(digits[at++]);
        const unsigned int low = at < digits.size() ? digitOf(digits[at++]) : kNotADigit;
        if (high == kNotADigit || low == kNotADigit) {
            return {};
        }
        bytes.data()[count++] = static_cast<std::uint8_t>(high << 4 | low);
    }
    bytes.truncate(count);
    return count == 0 ? SecretBuffer() : std::move(bytes);
}

} // namespace text
