// What "p11host doctor" says that each script calls, compared with the stories of the fault matrix, which list the
// calls of good runs.
#include "host/view/ScriptNeeds.h"
#include "tests/faults/matrix/Story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace Faults {
namespace {

using ::testing::IsSubsetOf;
using Names = std::set<std::string>;

// Called before a script, by the executor that is made and the reader that is chosen.
const Names kBefore = {"C_Initialize", "C_GetSlotList", "C_GetSlotInfo", "C_GetTokenInfo"};

/// The functions of a story, which ends without an error; empty for another.
Names functionsOf(const Story& story) {
    Names names;
    for (const Step& step : story.steps) {
        names.insert(step.call.substr(0, step.call.find_first_of(" (")));
    }
    return names;
}

TEST(ScriptNeeds, areCalledByEveryScriptAndByNoOther) {
    const std::vector<Story> stories = allStories();
    for (const host::ScriptNeeds& needs : host::scriptNeeds()) {
        Names all;
        bool isCovered = false;
        const Names wanted(needs.functions.begin(), needs.functions.end());
        for (const Story& story : stories) {
            if (story.script != needs.script) {
                continue;
            }
            const Names called = functionsOf(story);
            all.insert(called.begin(), called.end());
            // One good run calls all that the table has, and nothing else.
            Names both = called;
            both.insert(kBefore.begin(), kBefore.end());
            isCovered = isCovered || (std::includes(both.begin(), both.end(), wanted.begin(), wanted.end()) &&
                                      std::includes(wanted.begin(), wanted.end(), called.begin(), called.end()));
        }
        if (std::none_of(stories.begin(), stories.end(), [&](const Story& s) { return s.script == needs.script; })) {
            EXPECT_EQ(wanted, Names({"C_Initialize"})) << needs.script; // it calls nothing itself
            continue;
        }
        EXPECT_TRUE(isCovered) << needs.script << " calls " << ::testing::PrintToString(all) << ", the table has "
                               << ::testing::PrintToString(wanted);
    }
}

} // namespace
} // namespace Faults
