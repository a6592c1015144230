// A token that refuses to log out was asked again without end, and nobody could see what the program did.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string errorsAfter(const std::string& refusals) {
    return run({hostProgram(), "--plugin", doublePlugin(), "--module", "m", "--raw", "writeData", "REFUSE=" + refusals})
        .errors;
}

std::string told(int count) {
    return "p11host: signData waits for the token to log out; it has refused " + std::to_string(count) +
           " times, last with CKR_DEVICE_ERROR.\n";
}

TEST(RefusedLogouts, areToldFromTheFirstWaitOn) {
    EXPECT_THAT(errorsAfter("10"), Not(HasSubstr("waits for the token")));
    const std::string errors = errorsAfter("30");
    EXPECT_THAT(errors, HasSubstr(told(11)));
    EXPECT_THAT(errors, HasSubstr(told(21)));
    EXPECT_THAT(errors, Not(HasSubstr(told(12))));
    EXPECT_THAT(errors, Not(HasSubstr(told(30))));
}

} // namespace
} // namespace tests
