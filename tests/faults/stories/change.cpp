// Changing a PIN that is known.

#include "tests/faults/matrix/LoginFrame.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

struct Role {
    std::string id;
    std::string oldPin;
    std::string constant;
};
const Role kUser = {"USER", kUserPin, "CKU_USER"};
const Role kOfficer = {"SO", kSoPin, "CKU_SO"};

std::string login(const Role& role, const std::string& session) {
    return "C_Login(" + session + ", " + role.constant + ", " + role.oldPin + ")";
}

std::string setPin(const Role& role, const std::string& session) {
    return "C_SetPIN(" + session + ", " + role.oldPin + ", " + kNewPin + ")";
}

/// What the executor and the token know after a change that worked.
Now changed(const Role& role, const Now& now) {
    return role.id == "USER" ? now.keeping(kNewPin).accepting(kNewPin) : now;
}

Now in(const Role& role, const std::string& session) {
    return role.id == "USER" ? readWrite(session).user() : readWrite(session).officer();
}

Story changeStory(const std::string& name, Start start, const Role& role) {
    Story story;
    story.name = name;
    story.start = start;
    story.script = "changeAuthenticator";
    story.params = Params().plain("PINID", role.id).hex("OLD_PIN", role.oldPin).hex("NEW_PIN", kNewPin);
    return story;
}

/// Login, change and logout on a session that is there. The logout follows a failed login too, and how it goes matters
/// to nobody.
void addChange(Story& story, const Role& role, const std::string& session) {
    const Now open = readWrite(session);
    story.good = ends("0", changed(role, open));
    story.steps.push_back({login(role, session), stops(open, {logout(session)}), {}});
    story.steps.push_back({setPin(role, session), stops(open, {logout(session)}), {}});
    story.steps.push_back({logout(session), goesOnTo(changed(role, in(role, session))), {}});
}

Story fromNoSession(const std::string& name, const Role& role) {
    Story story = changeStory(name, Start::NoSession, role);
    story.steps = {{getSessionInfo("none"), stops(noSession()), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}, true},
                   {kOpenReadWrite, stops(noSession()), {}}};
    addChange(story, role, "0x1");
    return story;
}

Story fromPublic(const std::string& name, const Role& role) {
    Story story = changeStory(name, Start::Public, role);
    // A handle that is said to be stale is looked at again, and found well.
    const Outcome lookedAtAgain = ends("0", changed(role, readWrite("0x1")),
                                       {getSessionInfo("0x1"), login(role, "0x1"), setPin(role, "0x1"), logout("0x1")});
    story.steps = {{getSessionInfo("0x1"), stops(readWrite("0x1")), {{CKR_SESSION_HANDLE_INVALID, lookedAtAgain}}}};
    addChange(story, role, "0x1");
    return story;
}

Story fromReadOnly(const std::string& name, const Role& role) {
    Story story = changeStory(name, Start::ReadOnly, role);
    const Now before = readOnly("0x1");
    Outcome closed = goesOnTo(changed(role, readWrite("0x2")).losing("0x1 ro"));
    if (role.id == "SO") {
        // The session that would not close is read-only: the token lets no officer in beside it.
        closed = ends("8103", readWrite("0x2").losing("0x1 ro"), {kOpenReadWrite, login(role, "0x2"), logout("0x2")});
    }
    story.steps = {{getSessionInfo("0x1"), stops(before), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}},
                   {getSessionInfo("0x1"), stops(before), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}},
                   {closeSession("0x1"), closed, {}},
                   {kOpenReadWrite, stops(noSession()), {}}};
    addChange(story, role, "0x2");
    return story;
}

/// The role is logged in already, and stays so.
Story whileIn(const std::string& name, Start start, const Role& role) {
    Story story = changeStory(name, start, role);
    const Now before = in(role, "0x1");
    // A handle that is said to be stale leads to a login, which the token refuses, and to the logout that follows it.
    const Outcome loginRefused =
        ends("80f5", readWrite("0x1"), {getSessionInfo("0x1"), login(role, "0x1"), logout("0x1")});
    story.good = ends("0", changed(role, before));
    story.steps = {{getSessionInfo("0x1"), stops(before), {{CKR_SESSION_HANDLE_INVALID, loginRefused}}},
                   {setPin(role, "0x1"), stops(before), {}}};
    return story;
}

/// The other role is logged in: the login is refused, and the logout throws the other one out.
Story whileOtherIsIn(const std::string& name, Start start, const Role& role, const Role& other) {
    Story story = changeStory(name, start, role);
    const Now before = in(other, "0x1");
    const Now after = readWrite("0x1");
    const Outcome lookedAtAgain = ends("80f1", after, {getSessionInfo("0x1"), login(role, "0x1"), logout("0x1")});
    story.good = ends("80f1", after);
    story.steps = {{getSessionInfo("0x1"), stops(before), {{CKR_SESSION_HANDLE_INVALID, lookedAtAgain}}},
                   {login(role, "0x1"), stops(after, {logout("0x1")}), {}, true},
                   {logout("0x1"), goesOnTo(before), {}}};
    return story;
}

} // namespace

std::vector<Story> changeStories() {
    return {fromNoSession("ChangeOfUserPin", kUser),
            fromNoSession("ChangeOfOfficerPin", kOfficer),
            fromPublic("ChangeOfUserPinOnPublicSession", kUser),
            fromPublic("ChangeOfOfficerPinOnPublicSession", kOfficer),
            fromReadOnly("ChangeOfUserPinOnReadOnlySession", kUser),
            fromReadOnly("ChangeOfOfficerPinOnReadOnlySession", kOfficer),
            whileIn("ChangeOfUserPinWhileUserIsIn", Start::UserIn, kUser),
            whileIn("ChangeOfOfficerPinWhileOfficerIsIn", Start::OfficerIn, kOfficer),
            whileOtherIsIn("ChangeOfOfficerPinWhileUserIsIn", Start::UserIn, kOfficer, kUser),
            whileOtherIsIn("ChangeOfUserPinWhileOfficerIsIn", Start::OfficerIn, kUser, kOfficer)};
}

} // namespace Faults
