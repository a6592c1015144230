// What descriptors stand for, and processes that fork.

#include "platform/FileIdentity.h"
#include "platform/Fork.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

TEST(FileIdentity, endsWhenAnotherFileHasTheNumber) {
    const int number = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(number, 0);
    const platform::FileIdentity identity(number);
    EXPECT_TRUE(identity.isStill(number));

    const int other = ::open("/dev/zero", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(other, 0);
    ::dup2(other, number);
    EXPECT_FALSE(identity.isStill(number));

    ::close(other);
    ::close(number);
    EXPECT_FALSE(identity.isStill(number));
}

TEST(FileIdentity, ofNoDescriptorStandsForNothing) {
    EXPECT_FALSE(platform::FileIdentity().isStill(0));
    EXPECT_FALSE(platform::FileIdentity(-1).isStill(-1));
}

int g_before = 0;
int g_after = 0;

TEST(AroundFork, runsBeforeOnceAndBehindInBothProcesses) {
    ASSERT_TRUE(platform::aroundFork([] { ++g_before; }, [] { ++g_after; }));
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::_exit(g_before == 1 && g_after == 1 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(g_before, 1);
    EXPECT_EQ(g_after, 1);
}

} // namespace
