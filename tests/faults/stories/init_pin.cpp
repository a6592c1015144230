// A new user PIN under the security officer's authority.

#include "tests/faults/matrix/LoginFrame.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

const char* const kWrongKey = "3939393939393939";

std::string login(const std::string& session, const std::string& key = kSoPin) {
    return "C_Login(" + session + ", CKU_SO, " + key + ")";
}
std::string initPin(const std::string& session) {
    return "C_InitPIN(" + session + ", " + kNewPin + ")";
}
/// The executor keeps the PIN that the operation brought, whatever becomes of it.
Now given(const Now& now) {
    return now.keeping(kNewPin);
}
Now taken(const Now& now) {
    return given(now).accepting(kNewPin);
}

Story pinStory(const std::string& name, Start start, bool isUnlocking, const std::string& key) {
    Story story;
    story.name = name;
    story.start = start;
    story.script = isUnlocking ? "unlockAuthenticator" : "initAuthenticator";
    story.params = Params().plain("PINID", "USER").hex("PIN", kNewPin);
    if (isUnlocking) {
        story.params.plain("UNLOCK_TYPE", "STATIC").plain("UNLOCK_KEYID", "SO");
    } else {
        story.params.plain("INIT_KEYID", "SO");
    }
    if (!key.empty()) {
        story.params.hex(isUnlocking ? "UNLOCK_KEY" : "INIT_KEY", key);
    }
    return story;
}

/// The login with the key: unlocking looks for the last try after a wrong one.
Step keyLogin(bool isUnlocking, const std::string& session, const std::string& key = kSoPin) {
    const Now open = given(readWrite(session));
    Step step = {login(session, key), stops(open), {}};
    if (isUnlocking) {
        step.special = {{CKR_PIN_INCORRECT, stops(open, {kTokenInfo})}, {CKR_PIN_INVALID, stops(open, {kTokenInfo})}};
    }
    return step;
}

/// From the login to the logout; a failure in between leaves the officer logged in.
void addWithKey(Story& story, bool isUnlocking, const std::string& session) {
    const Now open = readWrite(session);
    story.good = ends("0", taken(open));
    story.steps.push_back(keyLogin(isUnlocking, session));
    story.steps.push_back({initPin(session), stops(given(open.officer())), {}});
    story.steps.push_back({logout(session), stops(taken(open.officer())), {}});
}

Story withKey(const std::string& name, bool isUnlocking) {
    Story story = pinStory(name, Start::NoSession, isUnlocking, kSoPin);
    story.steps = {{kOpenReadWrite, stops(given(noSession())), {}}};
    addWithKey(story, isUnlocking, "0x1");
    return story;
}

Story withKeyOnPublic(const std::string& name, bool isUnlocking) {
    Story story = pinStory(name, Start::Public, isUnlocking, kSoPin);
    const Outcome another = ends("0", taken(readWrite("0x2")),
                                 {closeSession("0x1"), kOpenReadWrite, login("0x2"), initPin("0x2"), logout("0x2")});
    story.steps = {{getSessionInfo("0x1"), stops(given(readWrite("0x1"))), {{CKR_SESSION_HANDLE_INVALID, another}}}};
    addWithKey(story, isUnlocking, "0x1");
    return story;
}

Story withKeyOnReadOnly(const std::string& name, bool isUnlocking) {
    Story story = pinStory(name, Start::ReadOnly, isUnlocking, kSoPin);
    // The session that would not close is read-only: the token lets no officer in beside it.
    const Outcome notAlone = ends("8103", given(readWrite("0x2")).losing("0x1 ro"), {kOpenReadWrite, login("0x2")});
    story.steps = {{getSessionInfo("0x1"), stops(given(readOnly("0x1"))), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}},
                   {closeSession("0x1"), notAlone, {}},
                   {kOpenReadWrite, stops(given(noSession())), {}}};
    addWithKey(story, isUnlocking, "0x2");
    return story;
}

/// The user is in the officer's way.
Story withKeyWhileUserIsIn(const std::string& name, bool isUnlocking) {
    Story story = pinStory(name, Start::UserIn, isUnlocking, kSoPin);
    const Now before = given(readWrite("0x1").user());
    const Outcome another = ends("0", taken(readWrite("0x2")),
                                 {closeSession("0x1"), kOpenReadWrite, login("0x2"), initPin("0x2"), logout("0x2")});
    story.steps = {{getSessionInfo("0x1"), stops(before), {{CKR_SESSION_HANDLE_INVALID, another}}},
                   {login("0x1"), stops(before), {}, true}};
    if (isUnlocking) {
        story.steps[1].special = {{CKR_PIN_INCORRECT, stops(before, {kTokenInfo})},
                                  {CKR_PIN_INVALID, stops(before, {kTokenInfo})}};
    }
    story.good = ends("80f1", before);
    return story;
}

Story firstPinWithoutKey() {
    Story story = pinStory("FirstPinWhileOfficerIsIn", Start::OfficerIn, false, "");
    const Now before = readWrite("0x1").officer();
    story.steps = {{initPin("0x1"), stops(given(before)), {}}};
    story.good = ends("0", taken(before));
    return story;
}

Story unlockWithoutKey() {
    Story story = pinStory("UnlockWhileOfficerIsIn", Start::OfficerIn, true, "");
    const Now before = readWrite("0x1").officer();
    // On a fresh session the officer is not logged in any more.
    const Outcome another =
        ends("80f0", given(readWrite("0x2")), {closeSession("0x1"), kOpenReadWrite, initPin("0x2")});
    story.steps = {{getSessionInfo("0x1"), stops(given(before)), {{CKR_SESSION_HANDLE_INVALID, another}}},
                   {initPin("0x1"), stops(given(before)), {}}};
    story.good = ends("0", taken(before));
    return story;
}

/// Nobody is logged in: the PIN is tried on the session as it stands, or on none.
Story unlockUnauthorised() {
    Story story = pinStory("UnlockWithoutAuthority", Start::NoSession, true, "");
    const Now open = given(readWrite("0x1"));
    story.steps = {{kOpenReadWrite, stops(given(noSession())), {}}, {initPin("0x1"), stops(open), {}, true}};
    story.good = ends("80f0", open);
    return story;
}

Story firstPinUnauthorised() {
    Story story = pinStory("FirstPinWithoutSession", Start::NoSession, false, "");
    story.steps = {{initPin("none"), stops(given(noSession())), {}, true}};
    story.good = ends("80ff", given(noSession()));
    return story;
}

Story wrongKey() {
    Story story = pinStory("UnlockWithWrongKeyAtLastTry", Start::NoSession, true, kWrongKey);
    story.furnish = [](Fake::Module& fake) { fake.setTries(Fake::Role::SecurityOfficer, 2); };
    const Now open = given(readWrite("0x1"));
    Step refused = keyLogin(true, "0x1", kWrongKey);
    refused.isRefused = true;
    story.steps = {{kOpenReadWrite, stops(given(noSession())), {}}, refused, {kTokenInfo, ends("80ee", open), {}}};
    story.good = ends("80ee", open, {}, {{"LEFTUNLOCKTRY", 2, 1, "1"}});
    return story;
}

} // namespace

std::vector<Story> initPinStories() {
    return {withKey("FirstPin", false),
            withKey("Unlock", true),
            withKeyOnPublic("FirstPinOnPublicSession", false),
            withKeyOnPublic("UnlockOnPublicSession", true),
            withKeyOnReadOnly("FirstPinOnReadOnlySession", false),
            withKeyOnReadOnly("UnlockOnReadOnlySession", true),
            withKeyWhileUserIsIn("FirstPinWhileUserIsIn", false),
            withKeyWhileUserIsIn("UnlockWhileUserIsIn", true),
            firstPinWithoutKey(),
            unlockWithoutKey(),
            unlockUnauthorised(),
            firstPinUnauthorised(),
            wrongKey()};
}

} // namespace Faults
