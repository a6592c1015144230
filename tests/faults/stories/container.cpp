// The name of a key's container. The writer logs in by itself inside a script that has logged in already.

#include "tests/faults/matrix/Writing.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

Calls searchAndName(const Frame& frame) {
    return {frame.call("C_FindObjectsInit", "[CKA_CLASS=3 CKA_ID=01]"), frame.call("C_FindObjects", "max=1"),
            frame.call("C_FindObjectsFinal"), frame.call("C_SetAttributeValue", "0x101, [0x80000008=616263]")};
}

/// The writer finds the session stale, opens another one and logs in on it itself, and out again. The script around it
/// then logs out once more, which the token never grants: nobody is logged in. It asks until the token gives in.
Outcome staleForTheWriter(const Frame& frame, const Calls& work, const std::string& error, bool search) {
    const Frame fresh{frame.session == "0x1" ? "0x2" : "0x3", true};
    Calls calls = {closeSession(frame.session), kOpenReadWrite, getSessionInfo(fresh.session),
                   userLogin(fresh.session)};
    calls = joined(calls, work);
    const int logouts = frame.loggedIn ? 9 : 1;
    calls.insert(calls.end(), logouts, fresh.call("C_Logout"));
    Now after = readWrite(fresh.session);
    after.searching = search;
    return ends(error, after, calls);
}

/// Inside the writer: the session is looked at twice more.
void addInnerLogin(Body& body, const Frame& frame, const Outcome& stale) {
    const Outcome refused = endsLoggedOut(frame, {.error = "80f5"}, {userLogin(frame.session)});
    body.steps.push_back({getSessionInfo(frame.session), endsLoggedOut(frame), {{CKR_SESSION_HANDLE_INVALID, stale}}});
    body.steps.push_back(
        {getSessionInfo(frame.session), endsLoggedOut(frame), {{CKR_SESSION_HANDLE_INVALID, refused}}});
}

Body namedBody(const Frame& frame) {
    const Frame fresh{frame.session == "0x1" ? "0x2" : "0x3", true};
    const Outcome searching = endsLoggedOut(frame, {.search = true});
    const Calls calls = searchAndName(frame);
    Body body;
    body.good = ends("0", frame.ended());
    addInnerLogin(body, frame, staleForTheWriter(frame, searchAndName(fresh), "0", false));
    body.steps.push_back({calls[0], endsLoggedOut(frame), {}});
    body.steps.push_back({calls[1], searching, {}});
    body.steps.push_back({calls[2], searching, {}});
    body.steps.push_back({calls[3], endsLoggedOut(frame), {}});
    addLogout(body, frame);
    return body;
}

/// There is no such key: the search stays open.
Body notFoundBody(const Frame& frame) {
    const Frame fresh{frame.session == "0x1" ? "0x2" : "0x3", true};
    const Outcome searching = endsLoggedOut(frame, {.search = true});
    Calls calls = searchAndName(frame);
    Calls freshCalls = searchAndName(fresh);
    freshCalls.resize(2);
    Body body;
    body.good = ends("80f3", frame.ended().search());
    addInnerLogin(body, frame, staleForTheWriter(frame, freshCalls, "80f3", true));
    body.steps.push_back({calls[0], endsLoggedOut(frame), {}});
    body.steps.push_back({calls[1], searching, {}});
    addLogout(body, frame);
    return body;
}

void addKey(Fake::Module& fake) {
    fake.addObject(Fake::Attributes().number(CKA_CLASS, CKO_PRIVATE_KEY).hex(CKA_ID, "01"));
}

} // namespace

std::vector<Story> containerStories() {
    const Params params =
        Params().plain("OBJ_TYPE", "CONTAINER_NAME").hex("KEYID", "01").hex("CONTAINER_NAME", "616263");
    std::vector<Story> stories;
    for (const Start start : {Start::NoSession, Start::ReadOnly, Start::UserIn}) {
        stories.push_back(loggedInStory("NameContainer", start, "writeData", params, addKey, namedBody));
        stories.push_back(loggedInStory("NameContainerOfNoKey", start, "writeData", params, {}, notFoundBody));
    }
    return stories;
}

} // namespace Faults
