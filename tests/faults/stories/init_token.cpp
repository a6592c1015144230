// A token made new.

#include "tests/faults/matrix/LoginFrame.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

const char* const kCall = "C_InitToken(0x11, 3132333435363738, "
                          "label=4142200020002000200020002000200020002000200020002000200020002000)";

/// `session` is what is open before: its text as the module's list of sessions shows it; empty: none.
Story initStory(const std::string& name, bool isRecycling, Start start, const std::string& session, Fake::Role role) {
    Story story;
    story.name = name;
    story.start = start;
    story.script = isRecycling ? "recycle" : "init";
    const std::string prefix = isRecycling ? "RECYCLE_" : "INIT_";
    story.params = Params().plain(prefix + "KEYID", "SO").hex(prefix + "KEY", kSoPin).hex("LABEL", "4142");
    if (start != Start::NoSession) {
        // The executor lets the session go, the module keeps it and its login.
        Now lost = noSession().losing(session);
        lost.role = role;
        story.steps = {{closeSession("0x1"), stops(lost), {}}};
    }
    story.steps.push_back({kCall, stops(noSession()), {}});
    // The token has no user PIN any more; the executor still holds the old one.
    story.good = ends("0", noSession().accepting(""));
    return story;
}

} // namespace

std::vector<Story> initTokenStories() {
    std::vector<Story> stories;
    for (const bool isRecycling : {false, true}) {
        const std::string name = isRecycling ? "Recycle" : "Init";
        stories.push_back(initStory(name, isRecycling, Start::NoSession, "", Fake::Role::Nobody));
        stories.push_back(
            initStory(name + "OnReadOnlySession", isRecycling, Start::ReadOnly, "0x1 ro", Fake::Role::Nobody));
        stories.push_back(initStory(name + "WhileUserIsIn", isRecycling, Start::UserIn, "0x1 rw", Fake::Role::User));
        stories.push_back(
            initStory(name + "WhileOfficerIsIn", isRecycling, Start::OfficerIn, "0x1 rw", Fake::Role::SecurityOfficer));
    }
    return stories;
}

} // namespace Faults
