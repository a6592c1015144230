// A secret in the environment: gone from there once it is read, and still known to whoever names it again.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "host/plugin/Errors.h"
#include "host/scripts/MaskedSecret.h"
#include "host/scripts/Secrets.h"

namespace host {
namespace {

std::string text(const WipedBytes& bytes) {
    return {bytes.data(), bytes.size()};
}

TEST(EnvironmentSecret, isRemovedAndCanBeReadAgain) {
    static char assignment[] = "P11HOST_TEST_SECRET=a secret of the environment";
    ::putenv(assignment);
    EXPECT_EQ(text(secretFromEnvironment("P11HOST_TEST_SECRET")), "a secret of the environment");
    EXPECT_EQ(std::getenv("P11HOST_TEST_SECRET"), nullptr);
    EXPECT_EQ(text(secretFromEnvironment("P11HOST_TEST_SECRET")), "a secret of the environment");
}

TEST(EnvironmentSecret, thatIsEmptyIsRefusedEachTime) {
    static char assignment[] = "P11HOST_TEST_EMPTY=";
    ::putenv(assignment);
    EXPECT_THROW((void)secretFromEnvironment("P11HOST_TEST_EMPTY"), UsageError);
    EXPECT_THROW((void)secretFromEnvironment("P11HOST_TEST_EMPTY"), UsageError);
}

TEST(MaskedSecret, givesBackAnyBytes) {
    const std::string bytes("\0\x01\xFF secret", 10);
    EXPECT_EQ(text(MaskedSecret(bytes).value()), bytes);
    EXPECT_EQ(text(MaskedSecret("").value()), "");
}

} // namespace
} // namespace host
