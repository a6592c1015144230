#include "host/scripts/JobReader.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/JobStep.h"

namespace host {
namespace {

/// Gives `text` in pieces of `piece` bytes.
JobReader::Source source(std::string text, std::size_t piece) {
    return [text = std::move(text), piece, taken = std::size_t{0}](char* target, std::size_t room) mutable {
        const std::size_t count = std::min({piece, room, text.size() - taken});
        std::memcpy(target, text.data() + taken, count);
        taken += count;
        return std::optional(count);
    };
}

std::vector<std::string> steps(const std::string& text, std::size_t piece = 3) {
    JobReader reader(source(text, piece));
    std::vector<std::string> result;
    while (const std::optional<RawStep> step = reader.next()) {
        result.push_back(step->where + ": " + (step->error ? *step->error : std::string(step->value.dump())));
    }
    return result;
}

using Steps = std::vector<std::string>;

TEST(JobReader, linesAreSteps) {
    const Steps wanted = {"line 1: {\"a\":1}", "line 3: {\"b\":2}", "line 4: 7"};
    for (const std::size_t piece : {1U, 2U, 5U, 100U}) {
        EXPECT_EQ(steps("{\"a\":1}\r\n \n{\"b\":2}\n7", piece), wanted);
    }
    EXPECT_EQ(steps(""), Steps());
    EXPECT_EQ(steps("\n\r\n  \n"), Steps());
    EXPECT_EQ(steps("\xEF\xBB\xBF{\"a\":1}"), Steps({"line 1: {\"a\":1}"}));
}

TEST(JobReader, aDocumentIsRecognisedByItsFirstLine) {
    const Steps wanted = {"step 0: {\"a\":1}", "step 1: 2"};
    EXPECT_EQ(steps("[{\"a\":1},2]"), wanted);
    EXPECT_EQ(steps("\n [\n{\"a\":1},\n2]\n"), wanted);
    EXPECT_EQ(steps("{ \"steps\" : [{\"a\":1},2]}"), wanted);
    EXPECT_EQ(steps("{\n\"steps\":\n[{\"a\":1},2]}"), wanted);
    EXPECT_EQ(steps("[]"), Steps());
    EXPECT_EQ(steps("7\n[1]"), Steps({"line 1: 7", "line 2: [1]"}));
}

TEST(JobReader, wrongDocumentsSayWhere) {
    EXPECT_EQ(steps("[1,\n 2,,]"),
              Steps({"job: not JSON at line 2, column 4: unexpected ','; expected '[', '{', or a literal"}));
    const std::string noSteps = "job: it has no list of steps; a job is [STEP, ...] or {\"steps\":[STEP, ...]}, or one "
                                "step a line";
    EXPECT_EQ(steps("{\"steps\":7}"), Steps({noSteps}));
    EXPECT_EQ(steps("{\"steps\":[],\"more\":1}"), Steps({noSteps}));
}

TEST(JobReader, aSourceThatFailsIsAUsageError) {
    JobReader reader([](char*, std::size_t) { return std::optional<std::size_t>(); });
    EXPECT_THROW((void)reader.next(), UsageError);
}

TEST(JobReader, keysKeepTheirOrderAndStandOnce) {
    EXPECT_EQ(std::string(parseJson(R"({"b":1,"a":{"z":1,"b":2},"c":[{"a":1},{"a":2}]})").dump()),
              R"({"b":1,"a":{"z":1,"b":2},"c":[{"a":1},{"a":2}]})");
    try {
        (void)parseJson(R"({"x":{"a":1,"b":2,"a":3}})");
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_STREQ(error.what(), "the key \"a\" stands twice in one object; a parameter is given twice in the form "
                                   "[{\"id\":...,\"value\":...}]");
    }
}

TEST(JobReader, numbersOutOfRangeAreAUsageError) {
    EXPECT_THROW((void)parseJson("1e999"), UsageError);
}

Step step(const std::string& text, std::size_t number = 5) {
    return readStep(parseJson(text), number);
}

TEST(JobStep, defaults) {
    const Step made = step(R"({"call":"newInstance"})");
    EXPECT_EQ(made.call, Call::NewInstance);
    EXPECT_EQ(made.instance, "default");
    EXPECT_FALSE(made.hasParameters);
    const Step run = step(R"({"call":"execute","operation":{"script":"s"}})");
    EXPECT_EQ(toUtf8(run.operation->id), "5");
    EXPECT_EQ(toUtf8(run.operation->scriptType), "client.p11.Larkspur");
    EXPECT_FALSE(run.operation->parameters);
    const Step listed = step(R"({"call":"initialize","accessParameters":[{"id":"a","value":"b"}]})");
    EXPECT_EQ(static_cast<int>(listed.accessParameters->at(0)->getEncodingEnum()), 2);
    EXPECT_EQ(static_cast<int>(listed.accessParameters->at(0)->getTypeEnum()), 3);
    EXPECT_FALSE(listed.runtimeParameters);
}

TEST(JobStep, givenValuesAreTaken) {
    const Step run = step(R"({"call":"execute","on":"x","operation":{"id":"i","scriptType":"t","script":"s",)"
                          R"("parameters":[{"id":"a","encoding":7,"type":-1,"value":"v"},{"id":"a","value":""}]}})");
    EXPECT_EQ(run.instance, "x");
    EXPECT_EQ(toUtf8(run.operation->id), "i");
    EXPECT_EQ(toUtf8(run.operation->scriptType), "t");
    ASSERT_EQ(run.operation->parameters->size(), 2U);
    EXPECT_EQ(static_cast<int>(run.operation->parameters->at(0)->getEncodingEnum()), 7);
    EXPECT_EQ(static_cast<int>(run.operation->parameters->at(0)->getTypeEnum()), -1);
}

TEST(JobStep, nullAndEmptyParametersDiffer) {
    EXPECT_FALSE(step(R"({"call":"newInstance","parameters":null})").parameters);
    EXPECT_TRUE(step(R"({"call":"newInstance","parameters":null})").hasParameters);
    EXPECT_EQ(step(R"({"call":"newInstance","parameters":[]})").parameters->size(), 0U);
    EXPECT_EQ(step(R"({"call":"newInstance","parameters":{}})").parameters->size(), 0U);
}

TEST(JobStep, onlyFreeInstanceTakesNull) {
    EXPECT_EQ(step(R"({"call":"freeInstance","on":null})").instance, std::nullopt);
    EXPECT_EQ(step(R"({"call":"freeInstance"})").instance, "default");
    EXPECT_THROW(step(R"({"call":"terminate","on":null})"), UsageError);
    EXPECT_THROW(step(R"({"call":"newInstance","as":null})"), UsageError);
}

TEST(JobStep, wrongTypesAreRefused) {
    for (const char* text :
         {R"(7)",
          R"(null)",
          R"({})",
          R"({"call":7})",
          R"({"call":"execute","operation":7})",
          R"({"call":"execute","operation":{"script":7}})",
          R"({"call":"execute","operation":{"script":"s","id":7}})",
          R"({"call":"execute","operation":{"script":"s","parameters":"x"}})",
          R"({"call":"newInstance","parameters":[7]})",
          R"({"call":"newInstance","parameters":[{"id":7,"value":""}]})",
          R"({"call":"newInstance","parameters":[{"id":"a","value":7}]})",
          R"({"call":"newInstance","parameters":[{"id":"a","value":"","type":"3"}]})",
          R"({"call":"newInstance","parameters":[{"id":"a","value":"","type":1.5}]})",
          R"({"call":"newInstance","parameters":[{"id":"a","value":"","type":2147483648}]})",
          R"({"call":"newInstance","parameters":[{"id":"a","value":"","type":18446744073709551615}]})",
          R"({"call":"newInstance","parameters":[{"id":"a","value":"","more":1}]})",
          R"({"call":"newInstance","parameters":{"a":7}})",
          R"({"call":"newInstance","parameters":{"a":{}}})",
          R"({"call":"newInstance","parameters":{"a":{"text":"x","hex":"41"}}})",
          R"({"call":"newInstance","parameters":{"a":{"text":7}}})",
          R"({"call":"newInstance","on":"a"})",
          R"({"call":"getVersion","parameters":null})"}) {
        EXPECT_THROW(step(text), UsageError) << text;
    }
}

} // namespace
} // namespace host
