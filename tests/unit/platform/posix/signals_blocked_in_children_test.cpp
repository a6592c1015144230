// A program that a module started could not be ended by Ctrl-C or SIGTERM: it was born with these signals blocked.
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/Interruption.h"

namespace tests {
namespace {

/// The signal that ended a program, from what was waited for; 0 when it ended by itself.
int endingOf(int status) {
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

int waitedFor(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return endingOf(status);
}

/// Each starts a child that sends `number` to itself, and returns how it ended.
int byFork(int number) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::raise(number);
        ::_exit(0);
    }
    return waitedFor(child);
}

std::string killingItself(int number) {
    return "kill -" + std::to_string(number) + " $$";
}

int bySpawn(int number) {
    std::string shell = "sh";
    std::string option = "-c";
    std::string command = killingItself(number);
    const std::array<char*, 4> words = {shell.data(), option.data(), command.data(), nullptr};
    pid_t child = 0;
    return ::posix_spawn(&child, "/bin/sh", nullptr, nullptr, words.data(), environ) == 0 ? waitedFor(child) : -1;
}

int byPopen(int number) {
    FILE* const pipe = ::popen(killingItself(number).c_str(), "r");
    return pipe == nullptr ? -1 : endingOf(::pclose(pipe));
}

struct Way {
    const char* name;
    int (*start)(int number);
};

class SignalsBlockedInChildren : public ::testing::TestWithParam<std::tuple<Way, int>> {
protected:
    void SetUp() override {
        for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
            ::signal(number, SIG_DFL);
        }
    }
};

TEST_P(SignalsBlockedInChildren, endThem) {
    const auto& [way, number] = GetParam();
    EXPECT_EXIT(
        ::_exit(platform::runNotingInterruptions([&, &start = way.start, &sent = number] { return start(sent); })),
        ::testing::ExitedWithCode(number), "");
}

INSTANTIATE_TEST_SUITE_P(All, SignalsBlockedInChildren,
                         ::testing::Combine(::testing::Values(Way{"fork", byFork}, Way{"posix_spawn", bySpawn},
                                                              Way{"popen", byPopen}),
                                            ::testing::Values(SIGINT, SIGTERM, SIGHUP)),
                         [](const auto& tested) {
                             return std::get<0>(tested.param).name + std::string("_") +
                                    std::to_string(std::get<1>(tested.param));
                         });

/// Waits until the first thread sleeps, as it does when it waits for a signal.
void waitForTheWatch() {
    const std::string file = "/proc/self/task/" + std::to_string(::getpid()) + "/stat";
    for (std::string state; state != "S";) {
        std::string skipped;
        std::ifstream(file) >> skipped >> skipped >> state;
    }
}

/// What a call of a library answers while the process is sent a signal: 1 when nothing has disturbed it.
int callBesideASignal() {
    std::array<int, 2> ends = {};
    if (::pipe(ends.data()) != 0) {
        return 3;
    }
    waitForTheWatch();
    const pid_t process = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        ::usleep(50000);
        ::kill(process, SIGTERM);
        ::usleep(50000);
        ::_exit(::write(ends[1], "x", 1) == 1 ? 0 : 1);
    }
    struct pollfd input = {ends[0], POLLIN, 0};
    const int answer = ::poll(&input, 1, -1);
    waitedFor(child);
    return platform::interruption() == SIGTERM ? answer : 4;
}

TEST(SignalsBlocked, nowhereAndYetNoCallOfALibraryIsInterrupted) {
    ::signal(SIGTERM, SIG_DFL);
    EXPECT_EXIT(::_exit(platform::runNotingInterruptions(callBesideASignal)), ::testing::ExitedWithCode(1), "");
}

} // namespace
} // namespace tests
