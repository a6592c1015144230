#include "framework/log/LineFormat.h"

#include <algorithm>

#include "text/Hexadecimal.h"
#include "text/Utf8.h"

namespace Ry::log {
namespace {

constexpr std::uint32_t kLastControl = 0x9F;

void appendNumber(LineBuffer& buffer, std::uint32_t number) noexcept {
    if (number >= 10) {
        appendNumber(buffer, number / 10);
    }
    buffer.append(static_cast<char>('0' + number % 10));
}

void appendHex(LineBuffer& buffer, const unsigned char* bytes, std::size_t length) noexcept {
    if (char* const target = buffer.reserve(2 * length); target != nullptr) {
        buffer.commit(text::encodeHexadecimal({bytes, length}, target));
    }
}

/// Unsigned on every system.
std::uint32_t codeOf(wchar_t character) noexcept {
    return static_cast<std::uint32_t>(character);
}

/// Returns true for an ASCII character that no format escapes.
bool isPlain(wchar_t character) noexcept {
    return character >= L' ' && character < L'\x7F' && character != L'"' && character != L'\\';
}

/// Appends the plain characters from `at` on and returns their end.
const wchar_t* appendPlain(LineBuffer& buffer, const wchar_t* at, const wchar_t* end) noexcept {
    char* target = buffer.reserve(static_cast<std::size_t>(end - at));
    if (target == nullptr) {
        return end;
    }
    while (at != end && isPlain(*at)) {
        *target++ = static_cast<char>(*at++);
    }
    buffer.commit(target);
    return at;
}

/// Returns true for ASCII's control characters and those from U+0080 to U+009F.
bool isControl(wchar_t character) noexcept {
    const std::uint32_t code = codeOf(character);
    return code < 0x20 || (code >= 0x7F && code <= kLastControl);
}

void appendControl(LineBuffer& buffer, unsigned char code) noexcept {
    switch (code) {
    case '\n':
        return buffer.append("\\n");
    case '\r':
        return buffer.append("\\r");
    case '\t':
        return buffer.append("\\t");
    default:
        buffer.append("\\u00");
        appendHex(buffer, &code, 1);
    }
}

/// Appends the characters above the control characters from `at` on, all at once, because two units may be one
/// character. Returns their end.
const wchar_t* appendForeign(LineBuffer& buffer, const wchar_t* at, const wchar_t* end) noexcept {
    const wchar_t* const behind =
        std::find_if(at, end, [](wchar_t character) { return codeOf(character) <= kLastControl; });
    appendUtf8(buffer, {at, static_cast<std::size_t>(behind - at)});
    return behind;
}

/// Appends text as UTF-8. With `isQuoted`, quotes and backslashes are escaped too, as JSON requires.
void appendEscaped(LineBuffer& buffer, std::wstring_view text, bool isQuoted) noexcept {
    const wchar_t* at = text.data();
    const wchar_t* const end = at + text.size();
    for (;;) {
        at = appendPlain(buffer, at, end);
        if (at == end || *at == 0) {
            return;
        }
        if (isControl(*at)) {
            appendControl(buffer, static_cast<unsigned char>(*at++));
        } else if (*at == L'"' || *at == L'\\') {
            if (isQuoted) {
                buffer.append('\\');
            }
            buffer.append(static_cast<char>(*at++));
        } else {
            at = appendForeign(buffer, at, end);
        }
    }
}

const char* levelName(std::uint32_t level) noexcept {
    switch (level) {
    case 1:
        return "failure";
    case 2:
        return "call";
    case 4:
        return "value";
    case 8:
        return "entry";
    case 16:
        return "exit";
    default:
        return nullptr;
    }
}

void appendText(LineBuffer& buffer, std::string_view time, std::uint32_t thread, const Message& message) noexcept {
    buffer.append(time);
    buffer.append(' ');
    appendNumber(buffer, thread);
    buffer.append(' ');
    appendEscaped(buffer, message.module, false);
    buffer.append(' ');
    if (const char* const name = levelName(message.level); name != nullptr) {
        buffer.append(name);
    } else {
        appendNumber(buffer, message.level);
    }
    buffer.append(' ');
    appendEscaped(buffer, message.text, false);
    if (message.bytes != nullptr) {
        buffer.append(" [");
        appendHex(buffer, message.bytes, message.length);
        buffer.append(']');
    }
    buffer.append('\n');
}

void appendJson(LineBuffer& buffer, std::string_view time, std::uint32_t thread, const Message& message) noexcept {
    buffer.append("{\"time\":\"");
    buffer.append(time);
    buffer.append("\",\"thread\":");
    appendNumber(buffer, thread);
    buffer.append(",\"module\":\"");
    appendEscaped(buffer, message.module, true);
    buffer.append("\",\"level\":");
    appendNumber(buffer, message.level);
    buffer.append(",\"text\":\"");
    appendEscaped(buffer, message.text, true);
    if (message.bytes != nullptr) {
        buffer.append("\",\"bytes\":\"");
        appendHex(buffer, message.bytes, message.length);
    }
    buffer.append("\"}\n");
}

} // namespace

void appendUtf8(LineBuffer& buffer, std::wstring_view text) noexcept {
    constexpr std::size_t kMostBytes = 4;
    if (text.empty() || text.size() > SIZE_MAX / kMostBytes) {
        return;
    }
    const std::size_t room = text.size() * kMostBytes;
    if (char* const place = buffer.reserve(room); place != nullptr) {
        buffer.commit(place + text::wideToUtf8(text.data(), text.size(), place, room));
    }
}

void appendLine(LineBuffer& buffer, RylogFormat format, std::string_view time, std::uint32_t thread,
                const Message& message) noexcept {
    if (format == RylogFormat::Json) {
        appendJson(buffer, time, thread, message);
    } else {
        appendText(buffer, time, thread, message);
    }
}

} // namespace Ry::log
