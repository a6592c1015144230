#include "text/WideFormat.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace text {
namespace {

constexpr int kLargestNumber = 4096;
constexpr int kNone = -1;

/// Wraps the list so that functions can share its position on every compiler.
struct Arguments {
    va_list list;
};

enum class Length { Default, Char, Short, Long, LongLong, Size, Wide };

struct Conversion {
    bool isLeft = false;
    bool isZeroPadded = false;
    bool isAlternate = false;
    wchar_t plus = 0;
    int width = 0;
    int precision = kNone;
    Length length = Length::Default;
    wchar_t type = 0;
};

class Writer {
public:
    Writer(wchar_t* target, std::size_t room) noexcept : m_pTarget(target), m_room(room) {}

    void put(wchar_t character) noexcept {
        if (m_length < m_room) {
            m_pTarget[m_length] = character;
        }
        ++m_length;
    }
    void fill(wchar_t character, int count) noexcept {
        for (; count > 0; --count) {
            put(character);
        }
    }
    void write(const char* text, std::size_t length) noexcept {
        for (std::size_t i = 0; i < length; ++i) {
            const auto byte = static_cast<unsigned char>(text[i]);
            put(byte < 0x80 ? static_cast<wchar_t>(byte) : L'?');
        }
    }
    void write(const wchar_t* text, std::size_t length) noexcept {
        if (m_length < m_room) {
            std::copy_n(text, std::min(length, m_room - m_length), m_pTarget + m_length);
        }
        m_length += length;
    }
    [[nodiscard]] std::size_t length() const noexcept { return m_length; }

private:
    wchar_t* m_pTarget;
    std::size_t m_room;
    std::size_t m_length = 0;
};

const wchar_t* parseFlags(const wchar_t* at, Conversion& conversion) noexcept {
    for (;; ++at) {
        switch (*at) {
        case L'-':
            conversion.isLeft = true;
            break;
        case L'0':
            conversion.isZeroPadded = true;
            break;
        case L'#':
            conversion.isAlternate = true;
            break;
        case L'+':
            conversion.plus = L'+';
            break;
        case L' ':
            conversion.plus = conversion.plus == 0 ? L' ' : conversion.plus;
            break;
        default:
            return at;
        }
    }
}

/// Parses digits or an asterisk; no digits mean 0.
const wchar_t* parseNumber(const wchar_t* at, int& number, Arguments& arguments) noexcept {
    if (*at == L'*') {
        number = std::clamp(va_arg(arguments.list, int), -kLargestNumber, kLargestNumber);
        return at + 1;
    }
    number = 0;
    for (; *at >= L'0' && *at <= L'9'; ++at) {
        number = std::min(number * 10 + static_cast<int>(*at - L'0'), kLargestNumber);
    }
    return at;
}

const wchar_t* parseLength(const wchar_t* at, Length& length) noexcept {
    switch (*at) {
    case L'h':
        length = at[1] == L'h' ? Length::Char : Length::Short;
        return length == Length::Char ? at + 2 : at + 1;
    case L'l':
        length = at[1] == L'l' ? Length::LongLong : Length::Long;
        return length == Length::LongLong ? at + 2 : at + 1;
    case L'z':
        length = Length::Size;
        return at + 1;
    case L'w':
        length = Length::Wide;
        return at + 1;
    default:
        return at;
    }
}

/// `at` stands behind the percent sign; returns the position of the conversion's letter.
const wchar_t* parse(const wchar_t* at, Conversion& conversion, Arguments& arguments) noexcept {
    at = parseNumber(parseFlags(at, conversion), conversion.width, arguments);
    if (conversion.width < 0) {
        conversion.isLeft = true;
        conversion.width = -conversion.width;
    }
    if (*at == L'.') {
        at = parseNumber(at + 1, conversion.precision, arguments);
        conversion.precision = std::max(conversion.precision, kNone);
    }
    at = parseLength(at, conversion.length);
    conversion.type = *at;
    return at;
}

std::int64_t takeSigned(Length length, Arguments& arguments) noexcept {
    switch (length) {
    case Length::Char:
        return static_cast<signed char>(va_arg(arguments.list, int));
    case Length::Short:
        return static_cast<short>(va_arg(arguments.list, int));
    case Length::Long:
        return va_arg(arguments.list, long);
    case Length::LongLong:
    case Length::Size:
        return va_arg(arguments.list, long long);
    default:
        return va_arg(arguments.list, int);
    }
}

std::uint64_t takeUnsigned(Length length, Arguments& arguments) noexcept {
    switch (length) {
    case Length::Char:
        return static_cast<unsigned char>(va_arg(arguments.list, unsigned int));
    case Length::Short:
        return static_cast<unsigned short>(va_arg(arguments.list, unsigned int));
    case Length::Long:
        return va_arg(arguments.list, unsigned long);
    case Length::LongLong:
    case Length::Size:
        return va_arg(arguments.list, unsigned long long);
    default:
        return va_arg(arguments.list, unsigned int);
    }
}

struct Prefix {
    wchar_t characters[2] = {};
    int length = 0;
};

void writeNumber(Writer& writer, const Conversion& conversion, std::uint64_t value, const Prefix& prefix) noexcept {
    constexpr int kMostDigits = 20;
    const wchar_t* const alphabet = conversion.type == L'X' ? L"0123456789ABCDEF" : L"0123456789abcdef";
    const bool isHex = conversion.type == L'x' || conversion.type == L'X';
    wchar_t digits[kMostDigits];
    int first = kMostDigits;
    // Division by a constant is much faster.
    for (; value != 0; value = isHex ? value / 16 : value / 10) {
        digits[--first] = alphabet[isHex ? value % 16 : value % 10];
    }
    const int length = kMostDigits - first;
    const int least = conversion.precision == kNone ? 1 : conversion.precision;
    int zeros = std::max(least - length, 0);
    if (conversion.isZeroPadded && !conversion.isLeft && conversion.precision == kNone) {
        zeros = std::max(zeros, conversion.width - prefix.length - length);
    }
    const int blanks = conversion.width - prefix.length - zeros - length;
    writer.fill(L' ', conversion.isLeft ? 0 : blanks);
    writer.write(prefix.characters, static_cast<std::size_t>(prefix.length));
    writer.fill(L'0', zeros);
    writer.write(digits + first, static_cast<std::size_t>(length));
    writer.fill(L' ', conversion.isLeft ? blanks : 0);
}

void writeSigned(Writer& writer, const Conversion& conversion, std::int64_t value) noexcept {
    Prefix prefix;
    if (value < 0 || conversion.plus != 0) {
        prefix.characters[0] = value < 0 ? L'-' : conversion.plus;
        prefix.length = 1;
    }
    const auto bits = static_cast<std::uint64_t>(value);
    writeNumber(writer, conversion, value < 0 ? 0 - bits : bits, prefix);
}

void writeUnsigned(Writer& writer, const Conversion& conversion, std::uint64_t value) noexcept {
    Prefix prefix;
    if (conversion.isAlternate && conversion.type != L'u' && value != 0) {
        prefix.characters[0] = L'0';
        prefix.characters[1] = conversion.type;
        prefix.length = 2;
    }
    writeNumber(writer, conversion, value, prefix);
}

void writePointer(Writer& writer, Conversion conversion, const void* pointer) noexcept {
    conversion.type = L'X';
    conversion.precision = 2 * static_cast<int>(sizeof(void*));
    writeNumber(writer, conversion, reinterpret_cast<std::uintptr_t>(pointer), Prefix());
}

template <class Character>
void writePadded(Writer& writer, const Conversion& conversion, const Character* text, std::size_t length) noexcept {
    const auto width = static_cast<std::size_t>(conversion.width);
    const int blanks = length < width ? static_cast<int>(width - length) : 0;
    writer.fill(L' ', conversion.isLeft ? 0 : blanks);
    writer.write(text, length);
    writer.fill(L' ', conversion.isLeft ? blanks : 0);
}

/// Reads at most `precision` characters, so that a text without terminator can be written.
template <class Character>
std::size_t textLength(const Character* text, int precision) noexcept {
    if (precision == kNone) {
        return std::char_traits<Character>::length(text);
    }
    std::size_t length = 0;
    while (length < static_cast<std::size_t>(precision) && text[length] != 0) {
        ++length;
    }
    return length;
}

void writeText(Writer& writer, const Conversion& conversion, const wchar_t* text) noexcept {
    const wchar_t* const shown = text == nullptr ? L"(null)" : text;
    writePadded(writer, conversion, shown, textLength(shown, conversion.precision));
}

void writeNarrowText(Writer& writer, const Conversion& conversion, const char* text) noexcept {
    const char* const shown = text == nullptr ? "(null)" : text;
    writePadded(writer, conversion, shown, textLength(shown, conversion.precision));
}

/// Returns false for a conversion that does not exist.
bool writeConversion(Writer& writer, const Conversion& conversion, Arguments& arguments) noexcept {
    switch (conversion.type) {
    case L'd':
    case L'i':
        writeSigned(writer, conversion, takeSigned(conversion.length, arguments));
        return true;
    case L'u':
    case L'x':
    case L'X':
        writeUnsigned(writer, conversion, takeUnsigned(conversion.length, arguments));
        return true;
    case L'c': {
        const auto character = static_cast<wchar_t>(va_arg(arguments.list, int));
        writePadded(writer, conversion, &character, 1);
        return true;
    }
    case L's':
        if (conversion.length == Length::Short) {
            writeNarrowText(writer, conversion, va_arg(arguments.list, const char*));
        } else {
            writeText(writer, conversion, va_arg(arguments.list, const wchar_t*));
        }
        return true;
    case L'S':
        writeNarrowText(writer, conversion, va_arg(arguments.list, const char*));
        return true;
    case L'p':
        writePointer(writer, conversion, va_arg(arguments.list, const void*));
        return true;
    case L'%':
        writer.put(L'%');
        return true;
    default:
        return false;
    }
}

} // namespace

std::size_t formatWide(wchar_t* target, std::size_t room, const wchar_t* format, va_list arguments) noexcept {
    Writer writer(target, room);
    Arguments shared;
    va_copy(shared.list, arguments);
    const wchar_t* at = format == nullptr ? L"(null)" : format;
    while (*at != 0) {
        const wchar_t* start = at;
        while (*start != 0 && *start != L'%') {
            ++start;
        }
        writer.write(at, static_cast<std::size_t>(start - at));
        if (*start == 0) {
            break;
        }
        Conversion conversion;
        const wchar_t* const letter = parse(start + 1, conversion, shared);
        at = *letter == 0 ? letter : letter + 1;
        if (!writeConversion(writer, conversion, shared)) {
            writer.write(start, static_cast<std::size_t>(at - start));
        }
    }
    va_end(shared.list);
    return writer.length();
}

} // namespace text
