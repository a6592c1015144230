#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr bool kHasSurrogates = sizeof(wchar_t) == 2;

/// Input and output stand at the very end of blocks of exactly their size, where a sanitizer sees a step too far.
std::wstring decode(const std::string& bytes) {
    const std::unique_ptr<char[]> input(new char[bytes.size()]);
    bytes.copy(input.get(), bytes.size());
    const std::size_t needed = text::utf8ToWide(input.get(), bytes.size(), nullptr, 0);
    const std::unique_ptr<wchar_t[]> output(new wchar_t[needed]);
    EXPECT_EQ(text::utf8ToWide(input.get(), bytes.size(), output.get(), needed), needed);
    return {output.get(), needed};
}

std::string encode(const std::wstring& text) {
    const std::unique_ptr<wchar_t[]> input(new wchar_t[text.size()]);
    text.copy(input.get(), text.size());
    const std::size_t needed = text::wideToUtf8(input.get(), text.size(), nullptr, 0);
    const std::unique_ptr<char[]> output(new char[needed]);
    EXPECT_EQ(text::wideToUtf8(input.get(), text.size(), output.get(), needed), needed);
    return {output.get(), needed};
}

struct Pair {
    std::string utf8;
    std::wstring wide;
};

const std::vector<Pair>& wellFormed() {
    static const std::vector<Pair> pairs = {
        {"A", L"A"},
        {"\x7F", L"\x7F"},
        {"\xC2\x80", L"\x80"},
        {"\xC3\xA9", L"\xE9"},
        {"\xDF\xBF", L"\x7FF"},
        {"\xE0\xA0\x80", L"\x800"},
        {"\xE2\x82\xAC", L"\x20AC"},
        {"\xED\x9F\xBF", L"\xD7FF"},
        {"\xEE\x80\x80", L"\xE000"},
        {"\xEF\xBF\xBD", L"\xFFFD"},
        {"\xEF\xBF\xBF", L"\xFFFF"},
        {"\xF0\x90\x80\x80", L"\U00010000"},
        {"\xF0\x9F\x98\x80", L"\U0001F600"},
        {"\xF4\x8F\xBF\xBF", L"\U0010FFFF"},
        {"PIN \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 end", L"PIN \xE9\x20AC\U0001F600 end"},
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
    };
    return pairs;
}

TEST(Utf8, ReadsAndWritesEveryLengthOfCharacter) {
    for (const Pair& pair : wellFormed()) {
        EXPECT_EQ(decode(pair.utf8), pair.wide) << testing::PrintToString(pair.utf8);
        EXPECT_EQ(encode(pair.wide), pair.utf8) << testing::PrintToString(pair.utf8);
    }
}

TEST(Utf8, TakesOneUnitOrASurrogatePairForACharacterPastTheFirstPlane) {
    EXPECT_EQ(decode("\xF0\x9F\x98\x80").size(), kHasSurrogates ? 2U : 1U);
    EXPECT_EQ(static_cast<unsigned>(decode("\xF0\x9F\x98\x80")[0]), kHasSurrogates ? 0xD83DU : 0x1F600U);
}

TEST(Utf8, ReplacesEachMaximalMalformedPartByOneCharacter) {
    const std::vector<Pair> table = {
        // lone continuation bytes
        {"\x80", L"\xFFFD"},
        {"\xBF\x80", L"\xFFFD\xFFFD"},
        // bytes that begin nothing
        {"\xC0\xAF", L"\xFFFD\xFFFD"},
        {"\xC1\xBF", L"\xFFFD\xFFFD"},
        {"\xF5\x80\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        {"\xFE\xFF", L"\xFFFD\xFFFD"},
        // over-long forms
        {"\xE0\x80\x80", L"\xFFFD\xFFFD\xFFFD"},
        {"\xE0\x9F\xBF", L"\xFFFD\xFFFD\xFFFD"},
        {"\xF0\x80\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        {"\xF0\x8F\xBF\xBF", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        // surrogates
        {"\xED\xA0\x80", L"\xFFFD\xFFFD\xFFFD"},
        {"\xED\xBF\xBF", L"\xFFFD\xFFFD\xFFFD"},
        // past the last code point
        {"\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        // cut short by the end
        {"\xC3", L"\xFFFD"},
        {"\xE2\x82", L"\xFFFD"},
        {"\xF0\x9F", L"\xFFFD"},
        {"\xF0\x9F\x98", L"\xFFFD"},
        {"A\xE2", L"A\xFFFD"},
        // cut short by another character
        {"\xC3"
         "A",
         L"\xFFFD"
         L"A"},
        {"\xE2\x82"
         "A",
         L"\xFFFD"
         L"A"},
        {"\xF0\x9F\x98"
         "A",
         L"\xFFFD"
         L"A"},
        {"\xE2\xC3\xA9", L"\xFFFD\xE9"},
        {"\xF1\x80\x80\xE1\x80\xC2"
         "b",
         L"\xFFFD\xFFFD\xFFFD"
         L"b"},
        {"ok\xFFok", L"ok\xFFFDok"},
    };
    for (const Pair& row : table) {
        EXPECT_EQ(decode(row.utf8), row.wide) << testing::PrintToString(row.utf8);
    }
}

TEST(Utf8, DoesNotReadBehindTheLength) {
    const std::string euro = "\xE2\x82\xAC";
    wchar_t unit = 0;
    EXPECT_EQ(text::utf8ToWide(euro.data(), 2, &unit, 1), 1U);
    EXPECT_EQ(static_cast<unsigned>(unit), 0xFFFDU);
}

TEST(Utf8, ReplacesLoneSurrogates) {
    EXPECT_EQ(encode(std::wstring(1, wchar_t{0xD800})), "\xEF\xBF\xBD");
    EXPECT_EQ(encode(std::wstring(1, wchar_t{0xDFFF})), "\xEF\xBF\xBD");
    EXPECT_EQ(encode({wchar_t{0xD800}, L'A', wchar_t{0xDC00}}), "\xEF\xBF\xBD"
                                                                "A\xEF\xBF\xBD");
    EXPECT_EQ(encode({L'A', wchar_t{0xDBFF}}), "A\xEF\xBF\xBD");
}

TEST(Utf8, TakesPairsOfSurrogatesOnlyWhereTextConsistsOfThem) {
    EXPECT_EQ(encode({wchar_t{0xD83D}, wchar_t{0xDE00}}),
              kHasSurrogates ? "\xF0\x9F\x98\x80" : "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Utf8, ReplacesWhatIsNoCodePoint) {
    if constexpr (!kHasSurrogates) {
        EXPECT_EQ(encode(std::wstring(1, static_cast<wchar_t>(0x110000))), "\xEF\xBF\xBD");
        EXPECT_EQ(encode(std::wstring(1, static_cast<wchar_t>(-1))), "\xEF\xBF\xBD");
    } else {
        EXPECT_EQ(encode(L"\xFFFF"), "\xEF\xBF\xBF") << "every unit is one: the last one there is";
    }
}

TEST(Utf8, GivesNothingForNothing) {
    EXPECT_EQ(text::utf8ToWide("", 0, nullptr, 0), 0U);
    EXPECT_EQ(text::wideToUtf8(L"", 0, nullptr, 0), 0U);
    char byte = 'x';
    wchar_t unit = L'x';
    EXPECT_EQ(text::utf8ToWide("", 0, &unit, 1), 0U);
    EXPECT_EQ(text::wideToUtf8(L"", 0, &byte, 1), 0U);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(unit, L'x');
}

TEST(Utf8, RefusesATargetThatIsTooSmall) {
    wchar_t wide[8] = {};
    EXPECT_EQ(text::utf8ToWide("ABC", 3, wide, 2), 0U);
    EXPECT_EQ(text::utf8ToWide("ABC", 3, wide, 0), 0U);
    EXPECT_EQ(text::utf8ToWide("AB\xFF", 3, wide, 2), 0U);
    EXPECT_EQ(wide[3], L'\0');
    char bytes[8] = {};
    EXPECT_EQ(text::wideToUtf8(L"AB\x20AC", 3, bytes, 4), 0U);
    EXPECT_EQ(text::wideToUtf8(L"AB", 2, bytes, 0), 0U);
    EXPECT_EQ(bytes[5], '\0');
}

// Two units on Windows, of which the first alone is none.
TEST(Utf8, RefusesRoomForHalfACharacter) {
    constexpr std::size_t needed = sizeof(wchar_t) == 2 ? 3 : 2;
    wchar_t wide[4] = {};
    EXPECT_EQ(text::utf8ToWide("A\xF0\x9F\x98\x80", 5, wide, needed - 1), 0U);
    EXPECT_EQ(wide[needed - 1], L'\0');
    EXPECT_EQ(text::utf8ToWide("A\xF0\x9F\x98\x80", 5, wide, needed), needed);
}

TEST(Utf8, NeverWritesMoreThanItSaidForAnyTwoBytes) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
            const std::wstring wide = decode(bytes);
            ASSERT_GE(wide.size(), 1U);
            ASSERT_LE(wide.size(), 2U);
        }
    }
}

} // namespace
