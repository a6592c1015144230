// The environment's own text, which putenv lets a program see on this system.
#include "host/scripts/Secrets.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace host {
namespace {

TEST(EnvironmentSecret, isOverwrittenInTheEnvironmentItself) {
    static char assignment[] = "P11HOST_TEST_OVERWRITTEN=a secret of the environment";
    ::putenv(assignment);
    EXPECT_EQ(secretFromEnvironment("P11HOST_TEST_OVERWRITTEN").size(), 27U);
    EXPECT_STREQ(assignment, "P11HOST_TEST_OVERWRITTEN=");
}

} // namespace
} // namespace host
