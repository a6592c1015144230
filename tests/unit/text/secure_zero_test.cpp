#include "text/SecureZero.h"

#include <gtest/gtest.h>

#include <array>

namespace {

TEST(SecureZero, OverwritesExactlyWhatItIsGiven) {
    std::array<unsigned char, 8> bytes{1, 2, 3, 4, 5, 6, 7, 8};
    text::secureZero(bytes.data() + 2, 4);
    EXPECT_EQ(bytes, (std::array<unsigned char, 8>{1, 2, 0, 0, 0, 0, 7, 8}));
}

TEST(SecureZero, AllowsNothing) {
    text::secureZero(nullptr, 0);
    unsigned char byte = 1;
    text::secureZero(&byte, 0);
    EXPECT_EQ(byte, 1);
}

} // namespace
