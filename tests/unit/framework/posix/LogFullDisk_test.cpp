#include <gtest/gtest.h>

#include "ry/rylog.h"

TEST(LogFullDisk, LosesLinesAndNothingElse) {
    ASSERT_TRUE(rylogSetUp("/dev/full", 31, RylogFormat::Json));
    rylogLog(L"MODULE", 1, L"lost");
    rylogLog(L"MODULE", 1, L"lost too");
    EXPECT_TRUE(rylogIsEnabled(1));
    EXPECT_TRUE(rylogSetUp(nullptr, 0, RylogFormat::Text));
}
