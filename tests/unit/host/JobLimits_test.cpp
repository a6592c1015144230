// How much one step of a job may hold. What is refused is refused where the limit is passed, not after all was read.
#include "host/scripts/JobReader.h"

#include <gtest/gtest.h>

#include "host/plugin/Errors.h"
#include "host/scripts/JobStep.h"
#include "host/scripts/Parameters.h"
#include "tests/heap/Heap.h"

namespace host {
namespace {

std::string objectOf(std::size_t keys) {
    std::string text = "{";
    for (std::size_t i = 0; i < keys; ++i) {
        text += (i == 0 ? "\"a key that is no short text " : ",\"a key that is no short text ") + std::to_string(i) +
                "\":1";
    }
    return text + "}";
}

std::string nested(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

std::string refusalOf(const std::string& text) {
    try {
        (void)parseJson(text);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "";
}

std::size_t allocationsOf(const std::string& text) {
    const std::size_t before = TestHeap::blocksTaken();
    EXPECT_EQ(refusalOf(text), "an object has more than 4096 keys");
    return TestHeap::blocksTaken() - before;
}

TEST(JobLimits, anObjectHasAtMost4096Keys) {
    EXPECT_EQ(parseJson(objectOf(4096)).size(), 4096U);
    EXPECT_EQ(refusalOf(objectOf(4097)), "an object has more than 4096 keys");
    EXPECT_EQ(refusalOf("[{\"a\":" + objectOf(4097) + "}]"), "an object has more than 4096 keys");
}

TEST(JobLimits, theRefusalCostsTheSameHoweverManyKeysFollow) {
    const std::size_t few = allocationsOf(objectOf(4097));
    EXPECT_GT(few, 4096U) << "the count sees nothing";
    EXPECT_EQ(allocationsOf(objectOf(40000)), few);
}

TEST(JobLimits, theWorkGrowsAsTheKeysDo) {
    const auto workOf = [](std::size_t keys) {
        const std::size_t before = TestHeap::blocksTaken();
        (void)parseJson(objectOf(keys));
        return TestHeap::blocksTaken() - before;
    };
    const std::size_t thousand = workOf(1000);
    EXPECT_LT(workOf(4000), 5 * thousand);
}

std::string stepOf(std::size_t parameters) {
    std::string text = R"({"call":"execute","operation":{"script":"readData","parameters":[)";
    for (std::size_t i = 0; i < parameters; ++i) {
        text += i == 0 ? R"({"id":"A","value":""})" : R"(,{"id":"A","value":""})";
    }
    return text + "]}}";
}

std::string refusalOfStep(std::size_t parameters) {
    const JobJson step = parseJson(stepOf(parameters));
    try {
        (void)readStep(step, 0);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "";
}

TEST(JobLimits, aCallHasAtMost4096Parameters) {
    EXPECT_EQ(refusalOfStep(4096), "");
    EXPECT_EQ(refusalOfStep(4097), "operation.parameters has 4097 parameters; 4096 are the most");
    EXPECT_NO_THROW((void)readArguments(std::vector<std::string>(4096, "A=B")));
    EXPECT_THROW((void)readArguments(std::vector<std::string>(4097, "A=B")), UsageError);
}

TEST(JobLimits, listsAndObjectsStand16Deep) {
    EXPECT_TRUE(parseJson(nested(16)).is_array());
    const std::string refusal = "lists and objects stand more than 16 deep in each other";
    EXPECT_EQ(refusalOf(nested(17)), refusal);
    EXPECT_EQ(refusalOf(std::string(1000000, '[')), refusal);
    EXPECT_EQ(refusalOf(R"({"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":{"a":[)"),
              refusal);
}

} // namespace
} // namespace host
