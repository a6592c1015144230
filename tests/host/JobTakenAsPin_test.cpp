// Standard input that gives the job is no place for a PIN: the token would get the rest of the job, and lock.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string kFirstStep = "{\"call\":\"newInstance\",\"parameters\":{\"DLLNAME\":\"m\"}}\n";

std::string execute(const std::string& pin) {
    return "{\"call\":\"execute\",\"operation\":{\"script\":\"authenticate\",\"parameters\":{\"PIN\":" + pin + "}}}\n";
}

Outcome runJob(const std::string& steps) {
    return run({hostProgram(), "--plugin", doublePlugin(), "run", "-"},
               kFirstStep + steps + "{\"call\":\"isLocal\"}\n");
}

class JobTakenAsPin : public ::testing::TestWithParam<const char*> {};

TEST_P(JobTakenAsPin, isRefusedAndTheFollowingStepsAreAnswered) {
    const Outcome outcome = runJob(execute(GetParam()));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.output, HasSubstr("{\"step\":1,\"error\":\"line 2: "));
    EXPECT_THAT(outcome.output, Not(HasSubstr("isLocal\\\"")));
    EXPECT_THAT(outcome.output, HasSubstr("{\"step\":2,\"call\":\"isLocal\",\"on\":\"default\",\"value\":true}\n"));
}

INSTANTIATE_TEST_SUITE_P(Sources, JobTakenAsPin, ::testing::Values("{\"fd\":0}", "{\"fd\":\"0\"}"));

TEST(StandardInput, thatGivesTheJobIsNamed) {
    EXPECT_THAT(
        runJob(execute("{\"fd\":0}")).output,
        HasSubstr("PIN: descriptor 0 (which in \\\"run -\\\" gives the job) is empty; a secret is expected there"));
}

TEST(StandardInput, ofAJobFromAFileIsStillASource) {
    const File steps(kFirstStep + execute("{\"fd\":0}"));
    const Outcome outcome = run({hostProgram(), "--plugin", doublePlugin(), "run", steps.path()}, "1234\n");
    EXPECT_THAT(outcome.output, HasSubstr("\"value\":\"31323334\"}"));
}

} // namespace
} // namespace tests
