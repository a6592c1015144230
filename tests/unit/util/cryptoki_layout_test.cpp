#include "cryptoki/cryptoki.h"

#include <gtest/gtest.h>

namespace {

// Windows: 32-bit CK_ULONG, packed to 1 byte. Linux: 64-bit CK_ULONG, natural alignment.
constexpr bool kIsPacked = sizeof(wchar_t) == 2;

TEST(CryptokiLayout, HasTheSizesOfTheSystem) {
    EXPECT_EQ(sizeof(CK_ULONG), kIsPacked ? 4U : 8U);
    EXPECT_EQ(sizeof(CK_ATTRIBUTE), kIsPacked ? 16U : 24U);
    EXPECT_EQ(sizeof(CK_MECHANISM), kIsPacked ? 16U : 24U);
    EXPECT_EQ(sizeof(CK_C_INITIALIZE_ARGS), kIsPacked ? 44U : 48U);
    EXPECT_EQ(sizeof(CK_INFO), kIsPacked ? 72U : 88U);
    EXPECT_EQ(sizeof(CK_SLOT_INFO), kIsPacked ? 104U : 112U);
    EXPECT_EQ(sizeof(CK_TOKEN_INFO), kIsPacked ? 160U : 208U);
    EXPECT_EQ(sizeof(CK_FUNCTION_LIST), kIsPacked ? 546U : 552U);
}

TEST(CryptokiLayout, HasTheOffsetsOfTheSystem) {
    EXPECT_EQ(offsetof(CK_ATTRIBUTE, pValue), kIsPacked ? 4U : 8U);
    EXPECT_EQ(offsetof(CK_ATTRIBUTE, ulValueLen), kIsPacked ? 12U : 16U);
    EXPECT_EQ(offsetof(CK_FUNCTION_LIST, C_Initialize), kIsPacked ? 2U : 8U);
    EXPECT_EQ(offsetof(CK_SLOT_INFO, flags), 96U);
    EXPECT_EQ(offsetof(CK_TOKEN_INFO, flags), 96U);
}

TEST(CryptokiLayout, HasAllBitsForNone) {
    EXPECT_EQ(kNoSlot, kIsPacked ? 0xFFFFFFFFULL : 0xFFFFFFFFFFFFFFFFULL);
    EXPECT_EQ(kNoSession, kIsPacked ? 0xFFFFFFFFULL : 0xFFFFFFFFFFFFFFFFULL);
}

} // namespace
