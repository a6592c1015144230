// A program that a module started could not be ended by Ctrl-C or SIGTERM: it was born with these signals blocked.
#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/Interruption.h"

namespace tests {
namespace {

/// How a child of a process that notes interruptions ends when `number` is sent to it.
int endingOfChild(int number) {
    platform::noteInterruptions();
    const pid_t child = ::fork();
    if (child == 0) {
        ::raise(number);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

class SignalsBlockedInChildren : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override { ::signal(GetParam(), SIG_DFL); }
};

TEST_P(SignalsBlockedInChildren, endThem) {
    EXPECT_EXIT(::_exit(endingOfChild(GetParam())), ::testing::ExitedWithCode(GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(All, SignalsBlockedInChildren, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

} // namespace
} // namespace tests
