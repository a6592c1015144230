// A process was forked while another of its threads held the log's lock: the child's first message waited for ever.
#include "ry/rylog.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

constexpr int kForks = 30;

/// Returns true when the child logged and ended. One that hangs is ended by its alarm.
bool forkAndLog() {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(30);
        rylogLog(L"CHILD", 1, L"child %d", static_cast<int>(::getpid()));
        ::_exit(0);
    }
    int status = -1;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Lines of children under the number of their own thread, which is that of the process.
int linesOfChildren(const std::string& path) {
    std::ifstream file(path);
    int count = 0;
    for (std::string text; std::getline(file, text);) {
        const nlohmann::json line = nlohmann::json::parse(text);
        count += line["text"] == "child " + std::to_string(line["thread"].get<int>()) ? 1 : 0;
    }
    return count;
}

} // namespace

TEST(ForkWhileTracing, EachChildTraces) {
    char path[] = "/tmp/rylog-fork-XXXXXX";
    ::close(::mkstemp(path));
    ASSERT_TRUE(rylogSetUp(path, 31, RylogFormat::Json));
    std::atomic<bool> isOver = false;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&isOver] {
            while (!isOver) {
                rylogLog(L"PARENT", 1, L"noise");
            }
        });
    }
    int ended = 0;
    for (int number = 0; number < kForks && ended == number; ++number) {
        ended += forkAndLog() ? 1 : 0;
    }
    isOver = true;
    threads.clear();
    EXPECT_TRUE(rylogSetUp(nullptr, 0, RylogFormat::Text));
    EXPECT_EQ(ended, kForks);
    EXPECT_EQ(linesOfChildren(path), ended);
    ::unlink(path);
}

TEST(ForkWhileTracing, AReceiverMayFork) {
    int status = -1;
    rylogSetReceiver(
        [](void* context, const RylogRecord*) {
            const pid_t child = ::fork();
            if (child == 0) {
                ::alarm(30);
                return;
            }
            ::waitpid(child, static_cast<int*>(context), 0);
        },
        &status, 1);
    const pid_t parent = ::getpid();
    rylogLog(L"MODULE", 1, L"fork");
    const bool isChild = ::getpid() != parent;
    rylogSetReceiver(nullptr, nullptr, 0);
    if (isChild) {
        rylogLog(L"MODULE", 1, L"the log is free");
        ::_exit(7);
    }
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}
