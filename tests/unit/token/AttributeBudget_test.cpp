#include "token/AttributeReading.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace plugin;

namespace {

constexpr std::size_t kLength = 100;

/// Every attribute has 100 bytes, of which it delivers half.
CK_RV getAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG count) {
    for (CK_ULONG i = 0; i < count; ++i) {
        list[i].ulValueLen = list[i].pValue == nullptr ? kLength : kLength / 2;
    }
    return CKR_OK;
}

CK_RV read(AttributeBudget& budget) {
    CK_FUNCTION_LIST functions{};
    functions.C_GetAttributeValue = getAttributeValue;
    Cryptoki gate;
    gate.bind(&functions);
    const Session session(gate);
    ReadAttribute attributes[] = {{CKA_MODULUS, {}}, {CKA_PUBLIC_EXPONENT, {}}};
    return readAttributes(session, Trace(L"method"), 1, attributes, budget);
}

TEST(AttributeBudget, isOfOneResponseAsAWhole) {
    AttributeBudget budget(4 * kLength);
    // Each takes what was delivered, once there was room for what was announced.
    EXPECT_EQ(read(budget), CKR_OK);
    EXPECT_EQ(read(budget), CKR_OK);
    EXPECT_EQ(read(budget), CKR_OK);
    EXPECT_EQ(read(budget), CKR_HOST_MEMORY);
}

TEST(AttributeBudget, mayBeUsedUp) {
    AttributeBudget budget(2 * kLength);
    EXPECT_EQ(read(budget), CKR_OK);
    EXPECT_FALSE(budget.take(kLength + 1));
    EXPECT_TRUE(budget.take(kLength));
    EXPECT_FALSE(budget.take(1));
}

TEST(AttributeBudget, isAQuarterOfAGibibyte) {
    AttributeBudget budget;
    EXPECT_TRUE(budget.take(268435456));
    EXPECT_FALSE(budget.take(1));
}

} // namespace
