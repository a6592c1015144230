// A job that standard input gives under the name of a file was read a second time as a PIN.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;

TEST(JobTakenAsPin, isRefusedUnderEveryNameOfStandardInput) {
    const File job(
        "{\"call\":\"newInstance\",\"parameters\":{\"DLLNAME\":\"m\"}}\n"
        "{\"call\":\"execute\",\"operation\":{\"script\":\"authenticate\",\"parameters\":{\"PIN\":{\"fd\":0}}}}\n"
        "{\"call\":\"isLocal\"}\n");
    for (const std::string& name : {std::string("/dev/stdin"), std::string("/proc/self/fd/0"), job.path()}) {
        const Outcome outcome = run({"/bin/sh", "-c", "exec \"$0\" --plugin \"$1\" run \"$2\" <\"$3\"", hostProgram(),
                                     doublePlugin(), name, job.path()},
                                    "");
        EXPECT_EQ(outcome.status, 2) << name;
        EXPECT_THAT(outcome.output, HasSubstr("{\"step\":1,\"error\":\"line 2: PIN: descriptor 0 ")) << name;
        EXPECT_THAT(outcome.output, HasSubstr("{\"step\":2,\"call\":\"isLocal\",\"on\":\"default\",\"value\":true}\n"));
    }
}

} // namespace
} // namespace tests
