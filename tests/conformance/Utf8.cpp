#include "tests/conformance/Utf8.h"

namespace Conformance {

namespace {

void appendWide(std::wstring& text, char32_t code) {
    if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
        text += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
        text += static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    } else {
        text += static_cast<wchar_t>(code);
    }
}

void appendUtf8(std::string& text, char32_t code) {
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0 | code >> 6);
        text += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0 | code >> 12);
        text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | code >> 18);
        text += static_cast<char>(0x80 | (code >> 12 & 0x3F));
        text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (code & 0x3F));
    }
}

} // namespace

std::wstring wideFromUtf8(std::string_view utf8) {
    std::wstring text;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        char32_t code = length == 1 ? lead : lead & (0xFFU >> (length + 1));
        for (std::size_t k = 1; k < length && i + k < utf8.size(); ++k) {
            code = code << 6 | (static_cast<unsigned char>(utf8[i + k]) & 0x3FU);
        }
        appendWide(text, code);
        i += length;
    }
    return text;
}

std::string utf8FromWide(std::wstring_view wide) {
    std::string text;
    for (std::size_t i = 0; i < wide.size(); ++i) {
        auto code = static_cast<char32_t>(wide[i]);
        const bool isPair = sizeof(wchar_t) == 2 && (code & 0xFC00) == 0xD800 && i + 1 < wide.size();
        if (isPair) {
            code = 0x10000 + ((code & 0x3FF) << 10) + (static_cast<char32_t>(wide[++i]) & 0x3FF);
        }
        appendUtf8(text, code);
    }
    return text;
}

} // namespace Conformance
