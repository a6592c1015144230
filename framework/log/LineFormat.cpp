#include "framework/log/LineFormat.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstring>

#include "platform/Encoding.h"

namespace Ry::log {
namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

/// Zero-padded.
void writeDigits(char* target, int count, std::uint32_t number) noexcept {
    for (; count > 0; --count) {
        target[count - 1] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
}

void appendTime(LineBuffer& buffer, std::int64_t time) noexcept {
    using namespace std::chrono;
    const sys_time<microseconds> instant{microseconds(time)};
    const auto day = floor<days>(instant);
    const year_month_day date(day);
    const auto micros = static_cast<std::uint64_t>((instant - day).count());
    const auto second = static_cast<std::uint32_t>(micros / 1000000);
    char text[] = "0000-00-00T00:00:00.000000Z";
    writeDigits(text, 4, static_cast<std::uint32_t>(static_cast<int>(date.year())));
    writeDigits(text + 5, 2, static_cast<unsigned int>(date.month()));
    writeDigits(text + 8, 2, static_cast<unsigned int>(date.day()));
    writeDigits(text + 11, 2, second / 3600);
    writeDigits(text + 14, 2, second / 60 % 60);
    writeDigits(text + 17, 2, second % 60);
    writeDigits(text + 20, 6, static_cast<std::uint32_t>(micros % 1000000));
    buffer.append(text, sizeof(text) - 1);
}

void appendNumber(LineBuffer& buffer, std::uint32_t number) noexcept {
    char text[10];
    const auto result = std::to_chars(text, text + sizeof(text), number);
    buffer.append(text, static_cast<std::size_t>(result.ptr - text));
}

void appendHex(LineBuffer& buffer, const unsigned char* bytes, std::size_t length) noexcept {
    char* const place = buffer.reserve(2 * length);
    if (place == nullptr) {
        return;
    }
    for (std::size_t i = 0; i < length; ++i) {
        place[2 * i] = kHexDigits[bytes[i] >> 4];
        place[2 * i + 1] = kHexDigits[bytes[i] & 0x0F];
    }
    buffer.commit(2 * length);
}

/// How many bytes at `at` are a control character: the ASCII ones, and U+0080 to U+009F, which are two bytes.
std::size_t controlLength(const unsigned char* at) noexcept {
    if (*at < 0x20 || *at == 0x7F) {
        return 1;
    }
    return *at == 0xC2 && at[1] >= 0x80 && at[1] <= 0x9F ? 2 : 0;
}

/// Whether a byte stands for itself wherever it stands: nearly all of a trace's do.
constexpr std::array<bool, 256> kIsPlain = [] {
    std::array<bool, 256> isPlain{};
    for (std::size_t byte = ' '; byte < 0x7F; ++byte) {
        isPlain[byte] = byte != '"' && byte != '\\';
    }
    return isPlain;
}();

void appendControl(LineBuffer& buffer, unsigned char code) noexcept {
    switch (code) {
    case '\n':
        return buffer.append("\\n", 2);
    case '\r':
        return buffer.append("\\r", 2);
    case '\t':
        return buffer.append("\\t", 2);
    default:
        buffer.append("\\u00", 4);
        appendHex(buffer, &code, 1);
    }
}

/// `text` is UTF-8 and zero-terminated. With `isQuoted`, quotes and backslashes are escaped too, as JSON wants it.
void appendEscaped(LineBuffer& buffer, const char* text, bool isQuoted) noexcept {
    const auto* at = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* plain = at;
    const auto appendPlain = [&] {
        buffer.append(reinterpret_cast<const char*>(plain), static_cast<std::size_t>(at - plain));
    };
    for (;;) {
        while (kIsPlain[*at]) {
            ++at;
        }
        if (*at == 0) {
            break;
        }
        const std::size_t control = controlLength(at);
        const bool isEscaped = isQuoted && (*at == '"' || *at == '\\');
        if (control == 0 && !isEscaped) {
            ++at;
            continue;
        }
        appendPlain();
        if (isEscaped) {
            buffer.append('\\');
            buffer.append(static_cast<char>(*at));
        } else {
            appendControl(buffer, at[control - 1]);
        }
        at += isEscaped ? 1 : control;
        plain = at;
    }
    appendPlain();
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

void appendText(LineBuffer& buffer, std::int64_t time, std::uint32_t thread, const RylogRecord& record) noexcept {
    appendTime(buffer, time);
    buffer.append(' ');
    appendNumber(buffer, thread);
    buffer.append(' ');
    appendEscaped(buffer, record.module, false);
    buffer.append(' ');
    if (const char* const name = levelName(record.level); name != nullptr) {
        buffer.append(name);
    } else {
        appendNumber(buffer, record.level);
    }
    buffer.append(' ');
    appendEscaped(buffer, record.text, false);
    if (record.bytes != nullptr) {
        buffer.append(" [", 2);
        appendHex(buffer, record.bytes, record.length);
        buffer.append(']');
    }
    buffer.append('\n');
}

void appendJson(LineBuffer& buffer, std::int64_t time, std::uint32_t thread, const RylogRecord& record) noexcept {
    buffer.append("{\"time\":\"");
    appendTime(buffer, time);
    buffer.append("\",\"thread\":");
    appendNumber(buffer, thread);
    buffer.append(",\"module\":\"");
    appendEscaped(buffer, record.module, true);
    buffer.append("\",\"level\":");
    appendNumber(buffer, record.level);
    buffer.append(",\"text\":\"");
    appendEscaped(buffer, record.text, true);
    if (record.bytes != nullptr) {
        buffer.append("\",\"bytes\":\"");
        appendHex(buffer, record.bytes, record.length);
    }
    buffer.append("\"}\n");
}

} // namespace

void appendUtf8(LineBuffer& buffer, const wchar_t* text, std::size_t length) noexcept {
    constexpr std::size_t kMostBytes = 4;
    if (length == 0 || length > SIZE_MAX / kMostBytes) {
        return;
    }
    if (char* const place = buffer.reserve(length * kMostBytes); place != nullptr) {
        buffer.commit(platform::wideToUtf8(text, length, place, length * kMostBytes));
    }
}

void appendLine(LineBuffer& buffer, RylogFormat format, std::int64_t time, std::uint32_t thread,
                const RylogRecord& record) noexcept {
    if (format == RylogFormat::Json) {
        appendJson(buffer, time, thread, record);
    } else {
        appendText(buffer, time, thread, record);
    }
}

} // namespace Ry::log
