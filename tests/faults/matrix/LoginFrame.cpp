#include "tests/faults/matrix/LoginFrame.h"

namespace Faults {

namespace {

void append(Story& story, const Body& body) {
    story.steps.insert(story.steps.end(), body.steps.begin(), body.steps.end());
    story.good = body.good;
}

/// The session's handle turned out to be stale: it is closed, another one opened, the user logged in there, and the
/// body done on it.
Outcome onAnotherSession(const BodyOf& bodyOf) {
    const Frame frame{"0x2", true};
    const Body body = bodyOf(frame);
    Calls calls = {closeSession("0x1"), kOpenReadWrite, getSessionInfo("0x2"), userLogin("0x2")};
    for (const Step& step : body.steps) {
        calls.push_back(step.call);
    }
    return ends(body.good.error, body.good.after, calls, body.good.outputs);
}

void fromNoSession(Story& story, const BodyOf& bodyOf) {
    const Now opened = readWrite("0x1");
    story.steps = {
        {kOpenReadWrite, stops(noSession()), {}},
        {getSessionInfo("0x1"), stops(opened), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}},
        {userLogin("0x1"), stops(opened), {}},
    };
    append(story, bodyOf({"0x1", true}));
}

void fromReadOnly(Story& story, const BodyOf& bodyOf) {
    const Now opened = readWrite("0x2");
    const Body body = bodyOf({"0x2", true});
    story.steps = {
        {getSessionInfo("0x1"), stops(readOnly("0x1")), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}},
        // A session that would not close is let go all the same.
        {closeSession("0x1"), goesOnTo(body.good.after.losing("0x1 ro")), {}},
        {kOpenReadWrite, stops(noSession()), {}},
        {getSessionInfo("0x2"), stops(opened), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}},
        {userLogin("0x2"), stops(opened), {}},
    };
    append(story, body);
}

void fromPublic(Story& story, const BodyOf& bodyOf) {
    const Now open = readWrite("0x1");
    story.steps = {
        {getSessionInfo("0x1"), stops(open), {{CKR_SESSION_HANDLE_INVALID, onAnotherSession(bodyOf)}}},
        {getSessionInfo("0x1"), stops(open), {{CKR_SESSION_HANDLE_INVALID, goesOn()}}},
        {userLogin("0x1"), stops(open), {}},
    };
    append(story, bodyOf({"0x1", true}));
}

void fromUserIn(Story& story, const BodyOf& bodyOf) {
    const Now open = readWrite("0x1").user();
    story.steps = {
        {getSessionInfo("0x1"), stops(open), {{CKR_SESSION_HANDLE_INVALID, onAnotherSession(bodyOf)}}},
        // Counts as nobody logged in; the token knows better (CKR_USER_ALREADY_LOGGED_IN).
        {getSessionInfo("0x1"), stops(open), {{CKR_SESSION_HANDLE_INVALID, ends("80f5", open, {userLogin("0x1")})}}},
    };
    append(story, bodyOf({"0x1", false}));
}

void fromOfficerIn(Story& story, const BodyOf& bodyOf) {
    const Now open = readWrite("0x1").officer();
    story.steps = {
        {getSessionInfo("0x1"), stops(open), {{CKR_SESSION_HANDLE_INVALID, onAnotherSession(bodyOf)}}},
        // Counts as nobody logged in; the token knows better (CKR_USER_ANOTHER_ALREADY_LOGGED_IN).
        {getSessionInfo("0x1"), stops(open), {{CKR_SESSION_HANDLE_INVALID, ends("80f1", open, {userLogin("0x1")})}}},
        {"C_Logout(0x1)", stops(open), {}},
        {userLogin("0x1"), stops(readWrite("0x1")), {}},
    };
    append(story, bodyOf({"0x1", true}));
}

} // namespace

std::string getSessionInfo(const std::string& session) {
    return "C_GetSessionInfo(" + session + ")";
}

std::string closeSession(const std::string& session) {
    return "C_CloseSession(" + session + ")";
}

std::string userLogin(const std::string& session, const std::string& pin) {
    return "C_Login(" + session + ", CKU_USER, " + pin + ")";
}

std::string startName(Start start) {
    switch (start) {
    case Start::NoReader:
        return "NoReader";
    case Start::NoSession:
        return "NoSession";
    case Start::ReadOnly:
        return "ReadOnlySession";
    case Start::Public:
        return "PublicSession";
    case Start::UserIn:
        return "UserLoggedIn";
    default:
        return "OfficerLoggedIn";
    }
}

Story loggedInStory(const std::string& name, Start start, const std::string& script, const Params& params,
                    const Furnish& furnish, const BodyOf& bodyOf) {
    Story story;
    story.name = name + startName(start);
    story.start = start;
    story.furnish = furnish;
    story.script = script;
    story.params = params;
    switch (start) {
    case Start::ReadOnly:
        fromReadOnly(story, bodyOf);
        break;
    case Start::Public:
        fromPublic(story, bodyOf);
        break;
    case Start::UserIn:
        fromUserIn(story, bodyOf);
        break;
    case Start::OfficerIn:
        fromOfficerIn(story, bodyOf);
        break;
    default:
        fromNoSession(story, bodyOf);
        break;
    }
    return story;
}

} // namespace Faults
