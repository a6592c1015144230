#include "tests/fuzz/Models.h"

#include <cstdint>
#include <vector>

namespace Fuzz {

namespace {

constexpr std::wstring_view kHexDigits = L"0123456789ABCDEFabcdef";
constexpr std::wstring_view kBase64Digits = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::wstring_view kBlanks = L" \t\r\n";
constexpr char32_t kReplacement = 0xFFFD;

bool isSurrogate(char32_t code) {
    return code >= 0xD800 && code <= 0xDFFF;
}

std::string encode(char32_t code) {
    const auto tail = [code](int shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) {
        return {static_cast<char>(code)};
    }
    if (code < 0x800) {
        return {static_cast<char>(0xC0 | code >> 6), tail(0)};
    }
    if (code < 0x10000) {
        return {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
    }
    return {static_cast<char>(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
}

/// The character that these bytes are, all of them and nothing else: the one whose encoding they are.
std::optional<char32_t> characterOf(std::string_view bytes) {
    constexpr unsigned kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    char32_t code = static_cast<unsigned char>(bytes[0]) & kLeadBits[bytes.size()];
    for (std::size_t i = 1; i < bytes.size(); ++i) {
        code = code << 6 | (static_cast<unsigned char>(bytes[i]) & 0x3FU);
    }
    const bool isCharacter = code <= 0x10FFFF && !isSurrogate(code) && encode(code) == bytes;
    return isCharacter ? std::optional(code) : std::nullopt;
}

/// Whether some bytes behind these would make a character of them.
bool beginsCharacter(const std::string& bytes) {
    for (const char second : {'\x80', '\x90', '\xA0'}) {
        std::string whole = bytes;
        while (whole.size() < 4) {
            whole += whole.size() == 1 ? second : '\x80';
            if (characterOf(whole)) {
                return true;
            }
        }
    }
    return false;
}

void append(std::wstring& text, char32_t code) {
    if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
        text += static_cast<wchar_t>(0xD7C0 + (code >> 10));
        text += static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
    } else {
        text += static_cast<wchar_t>(code);
    }
}

std::vector<std::wstring> words(std::wstring_view text) {
    std::vector<std::wstring> list(1);
    for (const wchar_t character : text) {
        if (kBlanks.find(character) == std::wstring_view::npos) {
            list.back() += character;
        } else {
            list.emplace_back();
        }
    }
    return list;
}

} // namespace

std::wstring wideOf(std::string_view utf8) {
    std::wstring text;
    while (!utf8.empty()) {
        std::size_t length = 1;
        while (length < 4 && length < utf8.size() && !characterOf(utf8.substr(0, length))) {
            ++length;
        }
        const std::optional<char32_t> code = characterOf(utf8.substr(0, length));
        if (!code) {
            while (length > 1 && !beginsCharacter(std::string(utf8.substr(0, length)))) {
                --length;
            }
        }
        append(text, code.value_or(kReplacement));
        utf8.remove_prefix(length);
    }
    return text;
}

std::string utf8Of(std::wstring_view wide) {
    std::string bytes;
    for (std::size_t i = 0; i < wide.size(); ++i) {
        auto code = static_cast<char32_t>(wide[i]);
        const char32_t next = i + 1 < wide.size() ? static_cast<char32_t>(wide[i + 1]) : 0;
        if (sizeof(wchar_t) == 2 && code >= 0xD800 && code < 0xDC00 && next >= 0xDC00 && next <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (next - 0xDC00);
            ++i;
        }
        bytes += encode(isSurrogate(code) || code > 0x10FFFF ? kReplacement : code);
    }
    return bytes;
}

std::optional<std::string> bytesOfHexadecimal(std::wstring_view text) {
    std::string bytes;
    for (const std::wstring& word : words(text)) {
        for (std::size_t i = 0; i < word.size(); i += 2) {
            const std::size_t high = kHexDigits.find(word[i]);
            const std::size_t low = i + 1 < word.size() ? kHexDigits.find(word[i + 1]) : std::wstring_view::npos;
            if (high == std::wstring_view::npos || low == std::wstring_view::npos) {
                return std::nullopt;
            }
            const auto value = [](std::size_t digit) { return digit < 16 ? digit : digit - 6; };
            bytes += static_cast<char>(value(high) * 16 + value(low));
        }
    }
    return bytes.empty() ? std::nullopt : std::optional(bytes);
}

std::optional<std::string> bytesOfBase64(std::wstring_view text) {
    std::wstring digits;
    for (const std::wstring& word : words(text)) {
        if (word.size() % 4 != 0) {
            return std::nullopt;
        }
        digits += word;
    }
    for (int padding = 0; padding < 2 && !digits.empty() && digits.back() == L'='; ++padding) {
        digits.pop_back();
    }
    std::string bytes;
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const std::size_t value = kBase64Digits.find(digits[i]);
        if (value == std::wstring_view::npos) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        if (i % 4 != 0) {
            bytes += static_cast<char>(bits >> (6 - 2 * (i % 4)));
        }
    }
    return bytes.empty() ? std::nullopt : std::optional(bytes);
}

std::wstring hexadecimalOf(std::string_view bytes) {
    std::wstring text;
    for (const char byte : bytes) {
        text += kHexDigits[static_cast<unsigned char>(byte) / 16];
        text += kHexDigits[static_cast<unsigned char>(byte) % 16];
    }
    return text;
}

std::wstring base64Of(std::string_view bytes) {
    std::wstring text;
    for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        unsigned digit = 0;
        for (std::size_t i = bit; i < bit + 6; ++i) {
            const unsigned byte = i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0U;
            digit = digit * 2 + (byte >> (7 - i % 8) & 1);
        }
        text += kBase64Digits[digit];
    }
    text.append((4 - text.size() % 4) % 4, L'=');
    return text;
}

std::wstring_view untilZero(std::wstring_view text) {
    return text.substr(0, text.find(L'\0'));
}

} // namespace Fuzz
