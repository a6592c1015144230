#include <algorithm>
#include <array>
#include <cstdarg>
#include <vector>

#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"
#include "text/WideFormat.h"
#include "zel/TString.h"

namespace {

using Fuzz::Input;
using Fuzz::require;

constexpr int kNone = -1;

/// One conversion as it stands in a format, and what was chosen for it.
struct Conversion {
    std::string flags;
    int width = 0;
    int precision = kNone;
    std::vector<int> stars;
    std::string widthAndPrecision;

    [[nodiscard]] bool has(char flag) const { return flags.find(flag) != std::string::npos; }
};

Conversion takeConversion(Input& input) {
    Conversion conversion;
    for (const char flag : {'-', '+', '0', '#', ' '}) {
        if (input.below(4) == 0) {
            conversion.flags += flag;
        }
    }
    const auto take = [&](bool isWidth) {
        const int value = static_cast<int>(input.below(80)) - (isWidth ? 0 : 5);
        if (input.boolean()) {
            conversion.stars.push_back(isWidth && input.boolean() ? -value : value);
            conversion.widthAndPrecision += '*';
            return conversion.stars.back();
        }
        const bool isWritten = isWidth ? value > 0 : value >= 0;
        conversion.widthAndPrecision += isWritten ? std::to_string(value) : "";
        return isWritten ? value : 0;
    };
    if (input.boolean()) {
        conversion.width = take(true);
    }
    if (conversion.width < 0) {
        conversion.flags += '-';
        conversion.width = -conversion.width;
    }
    if (input.boolean()) {
        conversion.widthAndPrecision += '.';
        conversion.precision = std::max(take(false), kNone);
    }
    return conversion;
}

/// Writes twice: with room for all of it, and with less.
std::wstring formatted(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = text::formatWide(nullptr, 0, format, arguments);
    std::vector<wchar_t> all(length);
    require(text::formatWide(all.data(), length, format, arguments) == length, "the length is the same again");
    std::vector<wchar_t> half(length / 2);
    require(text::formatWide(half.data(), half.size(), format, arguments) == length, "and with too little room");
    require(std::equal(half.begin(), half.end(), all.begin()), "what fits is the text's beginning");
    va_end(arguments);
    return {all.begin(), all.end()};
}

template <class Value>
std::wstring formatted(const std::wstring& format, const std::vector<int>& stars, Value value) {
    switch (stars.size()) {
    case 0:
        return formatted(format.c_str(), value, 4711);
    case 1:
        return formatted(format.c_str(), stars[0], value, 4711);
    default:
        return formatted(format.c_str(), stars[0], stars[1], value, 4711);
    }
}

std::wstring widened(const std::string& text) {
    return {text.begin(), text.end()};
}

/// Flags that mean nothing to a conversion are not given to printf: it may do anything then.
Conversion without(Conversion conversion, std::string_view flags) {
    std::erase_if(conversion.flags, [flags](char flag) { return flags.find(flag) != std::string_view::npos; });
    return conversion;
}

/// What printf makes of the number.
template <class Value>
std::wstring printed(const Conversion& conversion, char letter, Value value) {
    std::string format = "%" + conversion.flags + "*";
    format += conversion.precision == kNone ? "" : "." + std::to_string(conversion.precision);
    format += std::string("ll") + letter;
    std::array<char, 256> text{};
    std::snprintf(text.data(), text.size(), format.c_str(), conversion.width, value);
    return widened(text.data());
}

std::wstring padded(const Conversion& conversion, std::wstring text) {
    const std::size_t width = std::max(text.size(), static_cast<std::size_t>(conversion.width));
    const std::wstring blanks(width - text.size(), L' ');
    return conversion.has('-') ? text + blanks : blanks + text;
}

template <class Value>
void check(const Conversion& conversion, const char* letters, Value value, const std::wstring& expected) {
    const std::wstring format =
        L"<%" + widened(conversion.flags) + widened(conversion.widthAndPrecision) + widened(letters) + L">%d";
    const std::wstring found = formatted(format, conversion.stars, value);
    if (found != L"<" + expected + L">4711") {
        std::fprintf(stderr, "%ls gave %ls in place of <%ls>4711\n", format.c_str(), found.c_str(), expected.c_str());
        require(false, "a conversion");
    }
}

void checkSigned(Input& input, const Conversion& conversion) {
    const auto value = input.number<long long>();
    const char letter = input.boolean() ? 'd' : 'i';
    const auto expected = [&](auto narrowed) { return printed(conversion, letter, static_cast<long long>(narrowed)); };
    const std::string end(1, letter);
    switch (input.below(6)) {
    case 0:
        return check(conversion, ("hh" + end).c_str(), static_cast<int>(value),
                     expected(static_cast<signed char>(value)));
    case 1:
        return check(conversion, ("h" + end).c_str(), static_cast<int>(value), expected(static_cast<short>(value)));
    case 2:
        return check(conversion, ("l" + end).c_str(), static_cast<long>(value), expected(static_cast<long>(value)));
    case 3:
        return check(conversion, ("ll" + end).c_str(), value, expected(value));
    case 4:
        return check(conversion, ("z" + end).c_str(), value, expected(value));
    default:
        return check(conversion, end.c_str(), static_cast<int>(value), expected(static_cast<int>(value)));
    }
}

void checkUnsigned(Input& input, const Conversion& conversion) {
    const auto value = input.number<unsigned long long>();
    const char letter = "uxX"[input.below(3)];
    const auto expected = [&](auto narrowed) {
        const char* const meaningless = letter == 'u' ? "+ #" : "+ ";
        return printed(without(conversion, meaningless), letter, static_cast<unsigned long long>(narrowed));
    };
    const std::string end(1, letter);
    switch (input.below(5)) {
    case 0:
        return check(conversion, ("hh" + end).c_str(), static_cast<unsigned>(value),
                     expected(static_cast<unsigned char>(value)));
    case 1:
        return check(conversion, ("h" + end).c_str(), static_cast<unsigned>(value),
                     expected(static_cast<unsigned short>(value)));
    case 2:
        return check(conversion, ("l" + end).c_str(), static_cast<unsigned long>(value),
                     expected(static_cast<unsigned long>(value)));
    case 3:
        return check(conversion, ("z" + end).c_str(), static_cast<std::size_t>(value),
                     expected(static_cast<std::size_t>(value)));
    default:
        return check(conversion, end.c_str(), static_cast<unsigned>(value), expected(static_cast<unsigned>(value)));
    }
}

template <class Text>
Text shownPart(const Conversion& conversion, Text text) {
    text = text.substr(0, text.find(typename Text::value_type(0)));
    return conversion.precision == kNone ? text : text.substr(0, static_cast<std::size_t>(conversion.precision));
}

void checkText(Input& input, const Conversion& conversion) {
    constexpr const char* kWide[] = {"s", "ls", "ws"};
    constexpr const char* kNarrow[] = {"hs", "S"};
    const bool isNull = input.below(8) == 0;
    if (input.boolean()) {
        const std::wstring text = isNull ? L"(null)" : input.text(40);
        const wchar_t* const given = isNull ? nullptr : text.c_str();
        return check(conversion, input.oneOf(kWide), given, padded(conversion, shownPart(conversion, text)));
    }
    const std::string text = isNull ? "(null)" : input.bytes(40);
    std::wstring shown;
    for (const char byte : shownPart(conversion, text)) {
        shown += static_cast<unsigned char>(byte) < 0x80 ? static_cast<wchar_t>(byte) : L'?';
    }
    const char* const given = isNull ? nullptr : text.c_str();
    check(conversion, input.oneOf(kNarrow), given, padded(conversion, shown));
}

void checkConversion(Input& input) {
    Conversion conversion = takeConversion(input);
    switch (input.below(6)) {
    case 0:
        return checkSigned(input, conversion);
    case 1:
        return checkUnsigned(input, conversion);
    case 2:
        return checkText(input, conversion);
    case 3: {
        const wchar_t character = input.character();
        return check(conversion, "c", static_cast<int>(character), padded(conversion, std::wstring(1, character)));
    }
    case 4: {
        const auto bits = input.number<std::uintptr_t>();
        Conversion digits = without(conversion, "+ #");
        digits.precision = 16;
        return check(conversion, "p", reinterpret_cast<void*>(bits), printed(digits, 'X', std::uint64_t{bits}));
    }
    default:
        require(formatted(L"%y%5q%d%%", 12) == L"%y%5q12%", "what is no conversion stands as it is");
    }
}

/// Any text as a format. Every argument will do for a number and for a text of either width.
void checkNoise(const std::wstring& noise) {
    constexpr std::size_t kMost = 40;
    std::wstring format;
    for (const wchar_t character : noise.substr(0, kMost)) {
        format += character == L'*' || character == L'\0' ? L'#' : character;
    }
    static const wchar_t kText[4] = {L'a', L'b', L'c', 0};
    const auto* const a = kText;
    const std::wstring text = formatted(format.c_str(), a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a);
    require(format.find(L'%') != std::wstring::npos || text == format, "a format without conversions is the text");
    Zel::TString same(L"before");
    same.format(format.c_str(), a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a);
    require(std::wstring(same.data(), same.length()) == text, "TString formats alike");
}

} // namespace

void Fuzz::format(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    if (input.boolean()) {
        return checkNoise(input.restAsText());
    }
    while (!input.isEmpty()) {
        checkConversion(input);
    }
}
