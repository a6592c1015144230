#include "zel/ClientOperationException.h"

#include <exception>
#include <type_traits>

#include <gtest/gtest.h>

using Zel::ClientOperationException;
using Zel::LocalizedException;

namespace {

ClientOperationException notReady() {
    ClientOperationException failure;
    failure.setMessage(L"Plugin not validated, in a text that does not fit inside");
    failure.setErrorCode(L"80ec");
    return failure;
}

template <class Caught>
void expectCaughtAs() {
    try {
        throw notReady();
    } catch (const Caught& failure) {
        EXPECT_STREQ(failure.what(), "ClientOperationException");
        return;
    }
    FAIL() << "went another way";
}

} // namespace

static_assert(std::is_nothrow_default_constructible_v<ClientOperationException>);

TEST(Exceptions, CarryMessageAndCode) {
    try {
        throw notReady();
    } catch (const LocalizedException& failure) {
        EXPECT_STREQ(failure.getMessageText().c_str(), L"Plugin not validated, in a text that does not fit inside");
        EXPECT_STREQ(failure.getErrorCode().c_str(), L"80ec");
    }
}

TEST(Exceptions, AreCaughtAsThemselvesAndAsTheirBases) {
    expectCaughtAs<ClientOperationException>();
    expectCaughtAs<LocalizedException>();
    expectCaughtAs<std::exception>();
}

TEST(Exceptions, CopiesAreIndependent) {
    ClientOperationException original = notReady();
    const ClientOperationException copy(original);
    ClientOperationException assigned;
    EXPECT_TRUE(assigned.getMessageText().empty());
    EXPECT_TRUE(assigned.getErrorCode().empty());
    assigned = original;
    original.setErrorCode(L"0");
    EXPECT_STREQ(copy.getErrorCode().c_str(), L"80ec");
    EXPECT_STREQ(assigned.getErrorCode().c_str(), L"80ec");
}

TEST(Exceptions, TheBaseHasItsOwnName) {
    EXPECT_STREQ(LocalizedException().what(), "LocalizedException");
}
