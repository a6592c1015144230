// What "p11host doctor" says that each script calls, compared with the stories of the fault matrix, which list the
// calls of good runs.
#include "host/view/ScriptNeeds.h"
#include "tests/faults/matrix/Story.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace Faults {
namespace {

using Names = std::set<std::string>;

// Called before a script, by the executor that is made and the reader that is chosen.
const Names kBefore = {"C_Initialize", "C_GetSlotList", "C_GetSlotInfo", "C_GetTokenInfo"};

/// What the good runs of a script call, and what of it they cannot do without.
struct Called {
    Names all;
    Names needed;
};

bool isGood(const Story& story) {
    const bool isRefused =
        std::any_of(story.steps.begin(), story.steps.end(), [](const Step& step) { return step.isRefused; });
    return story.good.error == "0" && !isRefused;
}

/// Those of the stories whose names begin like this.
Called callsOf(const std::string& script, const std::string& beginning) {
    Called calls;
    for (const Story& story : allStories()) {
        if (story.script != script || story.name.rfind(beginning, 0) != 0 || !isGood(story)) {
            continue;
        }
        for (const Step& step : story.steps) {
            const std::string function = step.call.substr(0, step.call.find_first_of(" ("));
            calls.all.insert(function);
            if (!step.otherwise.isGood) {
                calls.needed.insert(function);
            }
        }
    }
    return calls;
}

Names without(Names names, const Names& others) {
    for (const std::string& other : others) {
        names.erase(other);
    }
    return names;
}

class EveryScript : public ::testing::TestWithParam<host::ScriptNeeds> {};

TEST_P(EveryScript, callsWhatTheTableHas) {
    const std::string script = GetParam().script;
    const Names table(GetParam().functions.begin(), GetParam().functions.end());
    // The objects that need more are looked at below.
    Called calls = callsOf(script, script == "writeData" ? "WriteCertificate" : "");
    if (script == "deauthenticate") {
        calls.all.merge(callsOf("authenticate", "").needed); // somebody has logged in
    }
    EXPECT_EQ(without(calls.needed, table), Names()) << "the table lacks them";
    calls.all.insert(kBefore.begin(), kBefore.end());
    EXPECT_EQ(without(table, calls.all), Names()) << "no good run calls them";
}

INSTANTIATE_TEST_SUITE_P(ScriptNeeds, EveryScript, ::testing::ValuesIn(host::scriptNeeds()),
                         [](const ::testing::TestParamInfo<host::ScriptNeeds>& row) { return row.param.script; });

TEST(ScriptNeeds, haveWhatSomeObjectsNeedMore) {
    const std::map<std::string, std::string> stories = {
        {"PRIVATE_KEY", "WritePrivateKey"}, {"KEY_PAIR", "WriteKeyPair"}, {"CONTAINER_NAME", "NameContainer"}};
    std::map<std::string, Names> expected;
    std::map<std::string, Names> actual;
    for (const host::ScriptNeeds& script : host::scriptNeeds()) {
        const Names table(script.functions.begin(), script.functions.end());
        for (const host::ObjectNeeds& object : script.objects) {
            ASSERT_EQ(std::string(script.script), "writeData");
            actual[object.type].insert(object.functions.begin(), object.functions.end());
        }
        for (const auto& [type, beginning] : stories) {
            const Names more = without(callsOf(script.script, beginning).needed, table);
            if (!more.empty()) {
                expected[type] = more;
            }
        }
    }
    EXPECT_EQ(actual, expected);
}

} // namespace
} // namespace Faults
