// Logging in and out.

#include "tests/faults/matrix/LoginFrame.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

const char* const kWrongPin = "39393939";

std::string loginOf(bool isOfficer, const std::string& session) {
    return isOfficer ? "C_Login(" + session + ", CKU_SO, " + kSoPin + ")" : userLogin(session);
}

Story loginStory(const std::string& name, Start start, bool isOfficer) {
    Story story;
    story.name = name;
    story.start = start;
    story.script = "authenticate";
    story.params = Params()
                       .plain("AUTH_TYPE", "STATIC")
                       .plain("PINID", isOfficer ? "SO" : "USER")
                       .hex("PIN", isOfficer ? kSoPin : kUserPin);
    return story;
}

/// The one login of a request, nobody being logged in: who is said to be logged in makes room, but the token has
/// nobody to log out; a wrong PIN makes the script look for the last try.
Step firstLogin(bool isOfficer, const std::string& session) {
    const Now open = readWrite(session);
    const Outcome nobody = ends("80f0", open, {"C_Logout(" + session + ")"});
    return {loginOf(isOfficer, session),
            stops(open),
            {{CKR_USER_ALREADY_LOGGED_IN, nobody},
             {CKR_USER_ANOTHER_ALREADY_LOGGED_IN, nobody},
             {CKR_PIN_INCORRECT, stops(open, {kTokenInfo})}}};
}

Now loggedIn(bool isOfficer, const std::string& session) {
    return isOfficer ? readWrite(session).officer() : readWrite(session).user();
}

Story fromNoSession(const std::string& name, bool isOfficer) {
    Story story = loginStory(name, Start::NoSession, isOfficer);
    story.steps = {{kOpenReadWrite, stops(noSession()), {}}, firstLogin(isOfficer, "0x1")};
    story.good = ends("0", loggedIn(isOfficer, "0x1"));
    return story;
}

/// The stale session is closed, and its login with it.
Outcome onAnotherSession(bool isOfficer) {
    return ends("0", loggedIn(isOfficer, "0x2"), {closeSession("0x1"), kOpenReadWrite, loginOf(isOfficer, "0x2")});
}

Story fromPublic(const std::string& name, bool isOfficer) {
    Story story = loginStory(name, Start::Public, isOfficer);
    story.steps = {
        {getSessionInfo("0x1"), stops(readWrite("0x1")), {{CKR_SESSION_HANDLE_INVALID, onAnotherSession(isOfficer)}}},
        firstLogin(isOfficer, "0x1")};
    story.good = ends("0", loggedIn(isOfficer, "0x1"));
    return story;
}

Story fromReadOnly(const std::string& name) {
    Story story = loginStory(name, Start::ReadOnly, false);
    story.good = ends("0", loggedIn(false, "0x2"));
    story.steps = {{getSessionInfo("0x1"), stops(readOnly("0x1")), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}},
                   {closeSession("0x1"), goesOnTo(story.good.after.losing("0x1 ro")), {}},
                   {kOpenReadWrite, stops(noSession()), {}},
                   firstLogin(false, "0x2")};
    return story;
}

/// Somebody is logged in and has to make room.
Story fromLoggedIn(const std::string& name, Start start, bool isOfficer) {
    const Now before = start == Start::OfficerIn ? readWrite("0x1").officer() : readWrite("0x1").user();
    const Now empty = readWrite("0x1");
    Story story = loginStory(name, start, isOfficer);
    story.good = ends("0", loggedIn(isOfficer, "0x1"));
    story.steps = {
        {getSessionInfo("0x1"), stops(before), {{CKR_SESSION_HANDLE_INVALID, onAnotherSession(isOfficer)}}},
        {loginOf(isOfficer, "0x1"),
         stops(before),
         {{CKR_USER_ALREADY_LOGGED_IN, goesOn()},
          {CKR_USER_ANOTHER_ALREADY_LOGGED_IN, goesOn()},
          {CKR_PIN_INCORRECT, stops(before, {kTokenInfo})}},
         true},
        {"C_Logout(0x1)", stops(before), {}},
        // No third try: the second refusal stands.
        {loginOf(isOfficer, "0x1"), stops(empty), {{CKR_PIN_INCORRECT, stops(empty, {kTokenInfo})}}},
    };
    return story;
}

/// The token refuses the PIN and says that one try is left. The PIN that the operation brought is kept all the same.
Story wrongPin() {
    Story story = loginStory("WrongUserPinAtLastTry", Start::NoSession, false);
    story.params = Params().plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").hex("PIN", kWrongPin);
    story.furnish = [](Fake::Module& fake) { fake.setTries(Fake::Role::User, 2); };
    const Now open = readWrite("0x1").keeping(kWrongPin);
    const Outcome nobody = ends("80f0", open, {"C_Logout(0x1)"});
    story.steps = {{kOpenReadWrite, stops(noSession().keeping(kWrongPin)), {}},
                   // Answered in the token's place, no try is lost and none is told.
                   {userLogin("0x1", kWrongPin),
                    stops(open),
                    {{CKR_USER_ALREADY_LOGGED_IN, nobody},
                     {CKR_USER_ANOTHER_ALREADY_LOGGED_IN, nobody},
                     {CKR_PIN_INCORRECT, stops(open, {kTokenInfo})}},
                    true},
                   // The wrong PIN is what is reported.
                   {kTokenInfo, ends("80ee", open), {}}};
    story.good = ends("80ee", open, {}, {{"LEFTPINTRY", 2, 3, "1"}});
    return story;
}

Story logoutStory(const std::string& name, Start start, const std::string& role, const Now& before) {
    Story story;
    story.name = name;
    story.start = start;
    story.script = "deauthenticate";
    story.params = Params().plain("PINID", role);
    story.steps = {{getSessionInfo("0x1"), stops(before), {}}, {"C_Logout(0x1)", stops(before), {}}};
    story.good = ends("0", readWrite("0x1"));
    return story;
}

/// Where nothing is to be done: the session is asked, and that is all.
Story idleLogout(const std::string& name, Start start, const std::string& session, const Now& now,
                 const std::string& error) {
    Story story = logoutStory(name, start, "USER", now);
    story.steps = {{getSessionInfo(session), stops(now), {}, session == "none"}};
    story.good = ends(error, now);
    return story;
}

} // namespace

std::vector<Story> authenticateStories() {
    return {fromNoSession("LoginOfUser", false),
            fromNoSession("LoginOfOfficer", true),
            fromPublic("LoginOfUserOnPublicSession", false),
            fromPublic("LoginOfOfficerOnPublicSession", true),
            fromReadOnly("LoginOfUserOnReadOnlySession"),
            fromLoggedIn("LoginOfUserWhileUserIsIn", Start::UserIn, false),
            fromLoggedIn("LoginOfOfficerWhileUserIsIn", Start::UserIn, true),
            fromLoggedIn("LoginOfUserWhileOfficerIsIn", Start::OfficerIn, false),
            wrongPin(),
            logoutStory("LogoutOfUser", Start::UserIn, "USER", readWrite("0x1").user()),
            logoutStory("LogoutOfOfficer", Start::OfficerIn, "SO", readWrite("0x1").officer()),
            idleLogout("LogoutWithoutSession", Start::NoSession, "none", noSession(), "80ff"),
            idleLogout("LogoutOfUserWhileOfficerIsIn", Start::OfficerIn, "0x1", readWrite("0x1").officer(), "80f0"),
            idleLogout("LogoutOnReadOnlySession", Start::ReadOnly, "0x1", readOnly("0x1"), "80f0")};
}

} // namespace Faults
