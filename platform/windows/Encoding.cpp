#include "platform/Encoding.h"

#include <windows.h>

#include <wincrypt.h>

#include <array>
#include <limits>

#include "platform/EncodingParts.h"
#include "platform/SecureZero.h"

namespace platform {

namespace {

constexpr UINT kUtf8 = 65001;
constexpr auto kLargest = static_cast<std::size_t>(std::numeric_limits<int>::max());

/// The system counts in `int`; what does not fit is refused by giving it nothing.
int countOf(std::size_t count) noexcept {
    return static_cast<int>(count < kLargest ? count : kLargest);
}

bool decode(const wchar_t* digits, std::size_t length, DWORD flags, std::uint8_t* target, std::size_t count) noexcept {
    if (length > kLargest) {
        return false;
    }
    auto written = static_cast<DWORD>(count);
    return CryptStringToBinaryW(digits, static_cast<DWORD>(length), flags, target, &written, nullptr, nullptr) != 0 &&
           written == count;
}

} // namespace

std::size_t wideToUtf8(const wchar_t* text, std::size_t length, char* target, std::size_t room) noexcept {
    if (length == 0 || length > kLargest || (target != nullptr && room == 0)) {
        return 0;
    }
    const int written = WideCharToMultiByte(kUtf8, 0, text, countOf(length), target,
                                            target == nullptr ? 0 : countOf(room), nullptr, nullptr);
    return static_cast<std::size_t>(written);
}

namespace parts {

std::size_t convertUtf8(const char* bytes, std::size_t length, wchar_t* target, std::size_t room) noexcept {
    if (length > kLargest) {
        return 0;
    }
    const int needed = MultiByteToWideChar(kUtf8, 0, bytes, countOf(length), nullptr, 0);
    if (target == nullptr) {
        return static_cast<std::size_t>(needed);
    }
    // Compared here: Wine takes half a character where there is no room for the whole.
    if (needed <= 0 || static_cast<std::size_t>(needed) > room) {
        return 0;
    }
    return static_cast<std::size_t>(MultiByteToWideChar(kUtf8, 0, bytes, countOf(length), target, needed));
}

bool convertHexadecimal(const wchar_t* digits, std::size_t length, std::uint8_t* target) noexcept {
    return decode(digits, length, CRYPT_STRING_HEX, target, length / 2);
}

bool convertBase64(const wchar_t* digits, std::size_t length, std::uint8_t* target, std::size_t count) noexcept {
    return decode(digits, length, CRYPT_STRING_BASE64, target, count);
}

// The system writes a terminator behind the text, for which the target has no room: whole groups go through a small
// buffer.
bool writeBase64(const std::uint8_t* bytes, std::size_t length, wchar_t* target) noexcept {
    constexpr std::size_t kBytesAtOnce = 768;
    std::array<wchar_t, kBytesAtOnce / 3 * 4 + 1> piece;
    bool written = true;
    for (std::size_t at = 0; at < length && written; at += kBytesAtOnce) {
        const std::size_t count = length - at < kBytesAtOnce ? length - at : kBytesAtOnce;
        auto characters = static_cast<DWORD>(piece.size());
        written = CryptBinaryToStringW(bytes + at, static_cast<DWORD>(count), CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF,
                                       piece.data(), &characters) != 0;
        for (DWORD i = 0; written && i < characters; ++i) {
            *target++ = piece[i];
        }
    }
    secureZero(piece.data(), sizeof piece);
    return written;
}

} // namespace parts

} // namespace platform
