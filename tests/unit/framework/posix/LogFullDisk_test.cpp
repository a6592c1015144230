// A disk that is full: here the largest size that a file may have, which an ordinary user can lower too.
#include <csignal>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ry/rylog.h"
#include "ry/rylogFault.h"

TEST(LogFullDisk, LosesLinesAndSaysSo) {
    char name[] = "full-disk-XXXXXX";
    ::close(::mkstemp(name));
    ASSERT_TRUE(rylogSetUp(name, 31, RylogFormat::Json));
    rylogLog(L"MODULE", 1, L"written");
    EXPECT_EQ(rylogFault(), RylogFault::None);

    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit size = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &size), 0);
    const struct rlimit full = {100, size.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    rylogLog(L"MODULE", 1, L"lost, for the line before it has filled what there is");
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &size), 0);
    std::signal(SIGXFSZ, before);

    EXPECT_EQ(rylogFault(), RylogFault::Incomplete);
    EXPECT_TRUE(rylogIsEnabled(1));
    EXPECT_TRUE(rylogSetUp(nullptr, 0, RylogFormat::Text));
    EXPECT_EQ(rylogFault(), RylogFault::None);
    ::unlink(name);
}
