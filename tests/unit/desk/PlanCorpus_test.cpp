#include <gtest/gtest.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "tests/unit/desk/Reading.h"

// The corpus of plans on which tests/desk/schema tests the published schema: what that refuses, the check refuses, too;
// beyond it the check knows how the parts of a plan fit together.

namespace {

using nlohmann::ordered_json;

TEST(PlanCorpus, IsJudgedAsTheSchemaJudgesIt) {
    std::ifstream stream(PLAN_CORPUS);
    int count = 0;
    for (std::string line; std::getline(stream, line); ++count) {
        const ordered_json entry = ordered_json::parse(line);
        const std::string name = entry["name"];
        const std::string faults = tests::refusal([&] {
            [[maybe_unused]] const host::desk::Plan plan = host::desk::readPlan(entry["plan"].dump(1), "plan.json");
        });
        EXPECT_EQ(entry["check"].get<bool>(), faults.empty()) << name << ": " << faults;
        EXPECT_TRUE(entry["schema"].get<bool>() || !entry["check"].get<bool>())
            << name << ": only the schema refuses it";
    }
    EXPECT_LT(40, count);
}

} // namespace
