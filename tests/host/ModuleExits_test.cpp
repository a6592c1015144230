// A module that ended the process with exit(0) in the middle of a script made p11host report success.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;

TEST(ModuleExits, isAFailureThatIsSaid) {
    for (const std::string status : {"0", "7"}) {
        const Outcome ended =
            run({hostProgram(), "--plugin", doublePlugin(), "--module", "m", "--raw", "signData", "EXIT=" + status});
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ended.output, "");
        EXPECT_THAT(ended.errors,
                    HasSubstr("p11host: the PKCS#11 module or the plug-in ended this program before the command was "
                              "done.\n  What has reached the token is not known: look at it before you try again.\n"));
    }
}

} // namespace
} // namespace tests
