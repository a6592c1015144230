#include "client/InstanceCounts.h"

#include <gtest/gtest.h>

using namespace plugin;

namespace {

TEST(InstanceCounts, tellHowManyThereAreAndWere) {
    std::uint32_t error = 0;
    ASSERT_TRUE(instances::createMutex(error));
    EXPECT_EQ(instances::remove(L"nobody's library"), 0);
    EXPECT_EQ(instances::add(L"library"), 1);
    EXPECT_EQ(instances::add(L"library"), 2);
    EXPECT_EQ(instances::add(L"Library"), 1);
    EXPECT_EQ(instances::remove(L"library"), 2);
    EXPECT_EQ(instances::remove(L"library"), 1);
    EXPECT_EQ(instances::remove(L"library"), 0);
    EXPECT_EQ(instances::remove(L"Library"), 1);
}

} // namespace
