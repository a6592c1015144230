#include "watch/calls/JsonLine.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <iterator>

#include "text/Hexadecimal.h"
#include "text/Utf8.h"

namespace watch {

namespace {

bool isWellFormed(std::string_view utf8) noexcept {
    if (std::ranges::all_of(utf8, [](char character) { return static_cast<unsigned char>(character) < 0x80; })) {
        return true;
    }
    try {
        return text::toUtf8(text::toWide(utf8)) == utf8;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

void JsonLine::separate() noexcept {
    if (m_needsComma) {
        m_text.append(',');
    }
    m_needsComma = true;
}

JsonLine& JsonLine::open(char bracket) noexcept {
    separate();
    m_text.append(bracket);
    m_needsComma = false;
    return *this;
}

JsonLine& JsonLine::close(char bracket) noexcept {
    m_text.append(bracket);
    m_needsComma = true;
    return *this;
}

JsonLine& JsonLine::key(std::string_view name) noexcept {
    quoted(name, "\":");
    m_needsComma = false;
    return *this;
}

void JsonLine::quoted(std::string_view text, std::string_view end) noexcept {
    char* place = m_text.reserve(text.size() + end.size() + 2);
    if (place == nullptr) {
        return;
    }
    if (m_needsComma) {
        *place++ = ',';
    }
    *place++ = '"';
    place = std::copy(text.begin(), text.end(), place);
    m_text.commit(std::copy(end.begin(), end.end(), place));
    m_needsComma = true;
}

JsonLine& JsonLine::word(std::string_view json) noexcept {
    separate();
    m_text.append(json);
    return *this;
}

JsonLine& JsonLine::number(std::uint64_t value) noexcept {
    char digits[20];
    return word({digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr});
}

JsonLine& JsonLine::length(unsigned long value) noexcept {
    return value == static_cast<unsigned long>(-1) ? word("-1") : number(value);
}

JsonLine& JsonLine::name(std::string_view text) noexcept {
    quoted(text, "\"");
    return *this;
}

JsonLine& JsonLine::hexNumber(std::uint64_t value) noexcept {
    char digits[18] = {'0', 'x'};
    return name({digits, std::to_chars(digits + 2, std::end(digits), value, 16).ptr});
}

JsonLine& JsonLine::bytes(std::span<const std::uint8_t> bytes) noexcept {
    separate();
    m_text.append('"');
    if (char* const place = m_text.reserve(2 * bytes.size()); place != nullptr) {
        m_text.commit(text::encodeHexadecimal(bytes, place));
    }
    m_text.append('"');
    return *this;
}

JsonLine& JsonLine::text(std::span<const std::uint8_t> utf8) noexcept {
    const std::string_view view(reinterpret_cast<const char*>(utf8.data()), utf8.size());
    if (!isWellFormed(view)) {
        return open('{').key("hex").bytes(utf8).close('}');
    }
    separate();
    m_text.append('"');
    escaped(view);
    m_text.append('"');
    return *this;
}

void JsonLine::escaped(std::string_view utf8) noexcept {
    for (const char character : utf8) {
        const auto byte = static_cast<std::uint8_t>(character);
        if (character == '"' || character == '\\') {
            m_text.append('\\');
            m_text.append(character);
        } else if (byte < 0x20 || byte == 0x7F) {
            char digits[2];
            text::encodeHexadecimal({&byte, 1}, digits);
            m_text.append("\\u00");
            m_text.append({digits, 2});
        } else {
            m_text.append(character);
        }
    }
}

} // namespace watch
