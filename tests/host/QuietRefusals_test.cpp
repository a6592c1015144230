// Input that was taken, or refused without saying why.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;

Outcome runQuietly(const Words& words, const std::string& input = "") {
    Words arguments = {hostProgram(), "--plugin", doublePlugin(), "--module", "m"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return run(arguments, input);
}

TEST(QuietRefusals, aJobOfNothingIsAMalformedJob) {
    for (const char* nothing : {"", "\n", " \n\t\n"}) {
        const Outcome empty = runQuietly({"run", "-"}, nothing);
        EXPECT_EQ(empty.status, 2) << "a producer that died looks like this";
        EXPECT_THAT(empty.errors, HasSubstr("p11host: the job is empty; if another program writes it"));
    }
    for (const char* list : {"[]", "{\"steps\":[]}"}) {
        EXPECT_EQ(runQuietly({"run", "-"}, list).status, 0) << list << " says that there are no steps";
    }
}

TEST(QuietRefusals, traceLevelsThatDoNotExistAreRefused) {
    for (const char* levels : {"32", "99", "0x20"}) {
        const Outcome refused = runQuietly({"--trace-levels", levels, "getCardState"});
        EXPECT_EQ(refused.status, 2) << levels;
        EXPECT_THAT(refused.errors, HasSubstr("--trace-levels is a sum of 1, 2, 4, 8 and 16, 31 at most"));
    }
    EXPECT_EQ(runQuietly({"--trace-levels", "0x1f", "getCardState"}).status, 0);
}

TEST(QuietRefusals, aBadPinIdIsABadParameterInAJobToo) {
    const char* steps = "{\"call\":\"newInstance\"}\n{\"call\":\"initialize\"}\n"
                        "{\"call\":\"execute\",\"operation\":{\"script\":\"writeData\","
                        "\"parameters\":{\"THROW\":\"client\"}}}\n";
    EXPECT_EQ(runQuietly({"run", "-"}, steps).status, 8);
}

TEST(QuietRefusals, anExecutorThatCannotBeUsedIsNoBadParameter) {
    const char* steps = "{\"call\":\"newInstance\",\"parameters\":{\"DLLNAME\":\"unready\"}}\n"
                        "{\"call\":\"initialize\"}\n";
    EXPECT_EQ(runQuietly({"run", "-"}, steps).status, 3);
}

TEST(QuietRefusals, aFailedStepOfAJobIsExplainedOnStandardError) {
    const char* steps = "{\"call\":\"newInstance\"}\n{\"call\":\"initialize\"}\n"
                        "{\"call\":\"execute\",\"operation\":{\"script\":\"writeData\","
                        "\"parameters\":{\"ANSWER\":\"80eb\"}}}\n";
    const Outcome job = runQuietly({"run", "-"}, steps);
    EXPECT_EQ(job.status, 7);
    EXPECT_THAT(job.errors, HasSubstr("p11host: step 2: writeData failed: there is no token in the reader"));
}

} // namespace
} // namespace tests
