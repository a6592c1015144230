// Lengths that no memory holds.

#include "util/Conversions.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <string>

// The lengths are refused before a byte is looked at, so there need not be any.

TEST(Limits, ATextLongerThanATextCanBeIsNoMemory) {
    constexpr std::size_t longest = static_cast<std::size_t>(std::numeric_limits<int>::max()) / sizeof(wchar_t);
    EXPECT_THROW(static_cast<void>(Binary2TStringHex(nullptr, longest / 2 + 1)), std::bad_alloc);
}

TEST(Limits, ALengthWhoseDoubleOverflowsIsNoMemory) {
    constexpr std::size_t half = std::numeric_limits<std::size_t>::max() / 2;
    EXPECT_THROW(static_cast<void>(Binary2TStringHex(nullptr, half + 1)), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(Binary2TStringHex(nullptr, half)), std::bad_alloc);
}

// Texts up to 700 characters take another road than longer ones.
TEST(Limits, TextsAreWholeOnBothSidesOfTheRoomWithoutHeap) {
    for (const std::size_t length : {0U, 1U, 699U, 700U, 701U, 702U, 1400U, 1402U}) {
        EXPECT_EQ(Utf82TString(std::string(length, 'x').c_str()), Zel::TString(std::wstring(length, L'x').c_str()))
            << length;
    }
    for (const std::size_t length : {349U, 350U, 351U}) {
        const std::string bytes(length, '\xAB');
        std::wstring expected;
        for (std::size_t i = 0; i < length; ++i) {
            expected += L"AB";
        }
        EXPECT_EQ(Binary2TStringHex(reinterpret_cast<const std::uint8_t*>(bytes.data()), length),
                  Zel::TString(expected.c_str()))
            << length;
    }
}
