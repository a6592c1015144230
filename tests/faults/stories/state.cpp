// How a PIN stands.

#include "tests/faults/matrix/LoginFrame.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

Story stateStory(const std::string& name, Start start, const std::string& role, const std::string& state) {
    Story story;
    story.name = name;
    story.start = start;
    story.script = "getAuthenticatorState";
    story.params = Params().plain("PINID", role);
    story.good.error = "0";
    story.good.outputs = {{"AUTHSTATE", 0, 1, state}};
    return story;
}

/// The script opens a session of its own and closes it, whatever happens in between.
Story ownSession(const std::string& name, const std::string& role, const std::string& state) {
    Story story = stateStory(name, Start::NoSession, role, state);
    story.good.after = noSession();
    const Outcome closed = stops(noSession(), {closeSession("0x1")});
    story.steps = {
        {kOpenReadOnly, stops(noSession()), {}}, {getSessionInfo("0x1"), closed, {}}, {kTokenInfo, closed, {}}};
    return story;
}

/// A failing close comes into "ERROR" when everything has been told.
Story finished(Story story) {
    const Now lost = noSession().losing("0x1 ro");
    story.steps.push_back({closeSession("0x1"), ends(kMapped, lost, {}, story.good.outputs), {}});
    return story;
}

Story lastTry() {
    Story story = ownSession("StateOfLastTry", "USER", "2");
    story.furnish = [](Fake::Module& fake) { fake.setTries(Fake::Role::User, 1); };
    story.good.outputs.push_back({"LEFTPINTRY", 2, 1, "1"});
    return finished(story);
}

Story openSession(const std::string& name, Start start, const Now& now, const std::string& role,
                  const std::string& state) {
    Story story = stateStory(name, start, role, state);
    story.good.after = now;
    story.steps = {{getSessionInfo("0x1"), stops(now), {}}, {kTokenInfo, stops(now), {}}};
    return story;
}

} // namespace

std::vector<Story> stateStories() {
    return {finished(ownSession("StateOfUserWithoutSession", "USER", "2")),
            finished(ownSession("StateOfOfficerWithoutSession", "SO", "2")),
            lastTry(),
            openSession("StateOfUserLoggedIn", Start::UserIn, readWrite("0x1").user(), "USER", "1"),
            openSession("StateOfOfficerLoggedIn", Start::OfficerIn, readWrite("0x1").officer(), "SO", "1"),
            openSession("StateOfUserWhileOfficerIsIn", Start::OfficerIn, readWrite("0x1").officer(), "USER", "2"),
            openSession("StateOnReadOnlySession", Start::ReadOnly, readOnly("0x1"), "USER", "2"),
            openSession("StateOnPublicSession", Start::Public, readWrite("0x1"), "SO", "2")};
}

} // namespace Faults
