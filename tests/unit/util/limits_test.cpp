// Lengths that no memory holds, and a gate to no module.

#include "util/Conversions.h"
#include "util/CryptokiCall.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>

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

TEST(Limits, AGateToNoModuleHasNoFunctions) {
    const Cryptoki gate;
    CK_INFO info{};
    EXPECT_FALSE(gate.isBound());
    EXPECT_FALSE(gate.has(cryptoki::getInfo));
    EXPECT_EQ(gate.call(cryptoki::getInfo, &info), CKR_FUNCTION_NOT_SUPPORTED);
}
