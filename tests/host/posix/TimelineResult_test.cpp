#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;

TEST(TimelineResult, aFullDiskIsNamedAsTheSystemDoes) {
    const File record(
        R"({"n":1,"time":"1795351734000000000","duration":2000000,"process":7,"thread":8,"call":"C_Initialize",)"
        R"("in":{},"out":{},"result":"CKR_OK"})"
        "\n");
    const Outcome refused = run({hostProgram(), "timeline", record.path(), "--out", "/dev/full"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("cannot write the file \"/dev/full\": No space left on device"));
}

} // namespace
} // namespace tests
