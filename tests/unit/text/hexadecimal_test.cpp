#include "text/Hexadecimal.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Nothing, or the bytes; the input in a block of exactly its size.
std::optional<Bytes> decodePairs(const std::wstring& text) {
    const std::unique_ptr<wchar_t[]> input(new wchar_t[text.size()]);
    text.copy(input.get(), text.size());
    const SecretBuffer bytes = text::decodeHexadecimal({input.get(), text.size()});
    return bytes.isNull() ? std::nullopt : std::optional<Bytes>({bytes.data(), bytes.data() + bytes.size()});
}

TEST(Hexadecimal, TakesPairsOfDigitsOfEitherCase) {
    EXPECT_EQ(decodePairs(L"0AFF"), (Bytes{0x0A, 0xFF}));
    EXPECT_EQ(decodePairs(L"0aff"), (Bytes{0x0A, 0xFF}));
    EXPECT_EQ(decodePairs(L"fF0a"), (Bytes{0xFF, 0x0A}));
    EXPECT_EQ(decodePairs(L"00"), (Bytes{0x00}));
    EXPECT_EQ(decodePairs(L"0123456789ABCDEFabcdef"),
              (Bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF}));
}

TEST(Hexadecimal, TakesEveryByte) {
    const std::wstring digits = L"0123456789ABCDEF";
    std::wstring text;
    Bytes expected;
    for (int value = 0; value < 256; ++value) {
        text += digits[value / 16];
        text += digits[value % 16];
        expected.push_back(static_cast<std::uint8_t>(value));
    }
    EXPECT_EQ(decodePairs(text), expected);
}

TEST(Hexadecimal, AllowsWhiteSpaceAroundPairs) {
    EXPECT_EQ(decodePairs(L"0A FF"), (Bytes{0x0A, 0xFF}));
    EXPECT_EQ(decodePairs(L" \t0A\r\n\r\nFF12 \n"), (Bytes{0x0A, 0xFF, 0x12}));
}

TEST(Hexadecimal, RefusesEverythingElse) {
    const std::vector<std::wstring> table = {
        L"",
        L" ",
        L"\r\n",
        L"0",
        L"0AF",
        L"0 A",
        L"0AF F",
        L"0A F",
        L"0AFG",
        L"GG",
        L"0x0A",
        L"0A:FF",
        L"0A,FF",
        L"-1",
        L"+1",
        L"0A\v"
        L"FF",
        L"0A\xA0"
        L"FF",
        L"\xFF10\xFF11",
        L"0A\x100"
        L"41",
        std::wstring(L"0A\0FF", 5),
        std::wstring(L"0A\0", 3),
        std::wstring(1, static_cast<wchar_t>(-1)) + L"0",
    };
    for (const std::wstring& text : table) {
        EXPECT_EQ(decodePairs(text), std::nullopt) << testing::PrintToString(text);
    }
}

TEST(Hexadecimal, WritesTwoUpperCaseDigitsForEachByte) {
    const Bytes bytes = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
    wchar_t wide[17] = {};
    EXPECT_EQ(text::encodeHexadecimal(bytes, wide), wide + 16);
    EXPECT_EQ(std::wstring(wide), L"0123456789ABCDEF");
    char narrow[17] = {};
    EXPECT_EQ(text::encodeHexadecimal(bytes, narrow), narrow + 16);
    EXPECT_EQ(std::string(narrow), "0123456789ABCDEF");
}

TEST(Hexadecimal, TakesLongTexts) {
    std::wstring text;
    for (int i = 0; i < 100000; ++i) {
        text += L"A5";
    }
    EXPECT_EQ(decodePairs(text), Bytes(100000, 0xA5));
}

} // namespace
