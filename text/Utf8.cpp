#include "text/Utf8.h"

#include <type_traits>

namespace text {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastCodePoint = 0x10FFFF;
constexpr bool kHasSurrogatePairs = sizeof(wchar_t) == 2;

/// Writes units into a target; without a target it only counts them.
template <class Unit>
class Output {
public:
    Output(Unit* target, std::size_t room) noexcept : m_pTarget(target), m_room(room) {}

    void put(char32_t unit) noexcept {
        if (m_length < m_room && m_pTarget != nullptr) {
            m_pTarget[m_length] = static_cast<Unit>(unit);
        }
        ++m_length;
    }
    /// 0 when the target is too small.
    [[nodiscard]] std::size_t length() const noexcept {
        return m_pTarget == nullptr || m_length <= m_room ? m_length : 0;
    }

private:
    Unit* m_pTarget;
    std::size_t m_room;
    std::size_t m_length = 0;
};

bool isLowSurrogate(char32_t unit) noexcept {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

char32_t unitAt(std::wstring_view wide, std::size_t at) noexcept {
    return static_cast<std::make_unsigned_t<wchar_t>>(wide[at]);
}

/// Reads the code point at `at` and moves `at` past it.
char32_t takeWide(std::wstring_view wide, std::size_t& at) noexcept {
    const char32_t unit = unitAt(wide, at++);
    if (unit < 0xD800 || (unit > 0xDFFF && unit <= kLastCodePoint)) {
        return unit;
    }
    const bool isPair = kHasSurrogatePairs && unit < 0xDC00 && at < wide.size() && isLowSurrogate(unitAt(wide, at));
    return isPair ? 0x10000 + ((unit - 0xD800) << 10) + (unitAt(wide, at++) - 0xDC00) : kReplacement;
}

void putWide(Output<wchar_t>& output, char32_t codePoint) noexcept {
    if (!kHasSurrogatePairs || codePoint < 0x10000) {
        output.put(codePoint);
        return;
    }
    output.put(0xD800 + ((codePoint - 0x10000) >> 10));
    output.put(0xDC00 + (codePoint & 0x3FF));
}

/// What may follow a lead byte: how many continuation bytes, and the range of the first of them, which excludes
/// over-long forms, surrogates and values past U+10FFFF. Without continuation bytes it is not a lead byte.
struct Lead {
    unsigned int continuations;
    unsigned char low;
    unsigned char high;
};

Lead leadOf(unsigned char byte) noexcept {
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, 0x80, 0xBF};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        return {2, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        return {3, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
    }
    return {0, 0, 0};
}

/// Reads the code point at `at` and moves `at` past it, or past the malformed part.
char32_t takeUtf8(std::string_view utf8, std::size_t& at) noexcept {
    const auto first = static_cast<unsigned char>(utf8[at++]);
    if (first < 0x80) {
        return first;
    }
    Lead lead = leadOf(first);
    if (lead.continuations == 0) {
        return kReplacement;
    }
    char32_t codePoint = first & (0x3FU >> lead.continuations);
    for (; lead.continuations != 0; lead = {lead.continuations - 1, 0x80, 0xBF}) {
        const auto next = at < utf8.size() ? static_cast<unsigned char>(utf8[at]) : static_cast<unsigned char>(0);
        if (next < lead.low || next > lead.high) {
            return kReplacement;
        }
        codePoint = codePoint << 6 | (next & 0x3FU);
        ++at;
    }
    return codePoint;
}

void putUtf8(Output<char>& output, char32_t codePoint) noexcept {
    const auto putContinuation = [&](int shift) { output.put(0x80 | (codePoint >> shift & 0x3F)); };
    if (codePoint < 0x80) {
        output.put(codePoint);
    } else if (codePoint < 0x800) {
        output.put(0xC0 | codePoint >> 6);
        putContinuation(0);
    } else if (codePoint < 0x10000) {
        output.put(0xE0 | codePoint >> 12);
        putContinuation(6);
        putContinuation(0);
    } else {
        output.put(0xF0 | codePoint >> 18);
        putContinuation(12);
        putContinuation(6);
        putContinuation(0);
    }
}

} // namespace

std::size_t wideToUtf8(const wchar_t* wide, std::size_t length, char* target, std::size_t room) noexcept {
    Output<char> output(target, room);
    for (std::size_t at = 0; at < length;) {
        putUtf8(output, takeWide({wide, length}, at));
    }
    return output.length();
}

std::size_t utf8ToWide(const char* utf8, std::size_t length, wchar_t* target, std::size_t room) noexcept {
    Output<wchar_t> output(target, room);
    for (std::size_t at = 0; at < length;) {
        putWide(output, takeUtf8({utf8, length}, at));
    }
    return output.length();
}

std::string toUtf8(std::wstring_view wide) {
    std::string utf8(wideToUtf8(wide.data(), wide.size(), nullptr, 0), '\0');
    utf8.resize(wideToUtf8(wide.data(), wide.size(), utf8.data(), utf8.size()));
    return utf8;
}

std::wstring toWide(std::string_view utf8) {
    std::wstring wide(utf8ToWide(utf8.data(), utf8.size(), nullptr, 0), L'\0');
    wide.resize(utf8ToWide(utf8.data(), utf8.size(), wide.data(), wide.size()));
    return wide;
}

} // namespace text
