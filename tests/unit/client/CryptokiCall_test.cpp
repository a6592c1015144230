#include "token/CryptokiCall.h"

#include <gtest/gtest.h>

using namespace plugin;

namespace {

TEST(CryptokiGate, withoutAListHasNoFunction) {
    const Cryptoki gate;
    EXPECT_FALSE(gate.isBound());
    EXPECT_FALSE(gate.has(cryptoki::logout));
    EXPECT_EQ(gate.call(cryptoki::logout, CK_SESSION_HANDLE{1}), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(gate.call(cryptoki::finalize, nullptr), CKR_FUNCTION_NOT_SUPPORTED);
}

TEST(CryptokiGate, ofAnEmptyListHasNoFunction) {
    CK_FUNCTION_LIST functions{};
    Cryptoki gate;
    gate.bind(&functions);
    EXPECT_TRUE(gate.isBound());
    EXPECT_FALSE(gate.has(cryptoki::logout));
    EXPECT_EQ(gate.call(cryptoki::logout, CK_SESSION_HANDLE{1}), CKR_FUNCTION_NOT_SUPPORTED);
}

TEST(CryptokiGate, callsTheFunctionOfTheList) {
    CK_FUNCTION_LIST functions{};
    functions.C_Logout = [](CK_SESSION_HANDLE session) -> CK_RV { return session == 7 ? CKR_PIN_EXPIRED : CKR_OK; };
    Cryptoki gate;
    gate.bind(&functions);
    EXPECT_TRUE(gate.has(cryptoki::logout));
    EXPECT_EQ(gate.call(cryptoki::logout, CK_SESSION_HANDLE{7}), CKR_PIN_EXPIRED);
}

} // namespace
