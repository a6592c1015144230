// Signing. Where the script logged in by itself, the logout that it always makes takes the place of what failed before:
// hosts tell success by "SIGNEDDATA".

#include "tests/faults/matrix/Writing.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

std::string errorOf(const Frame& frame) {
    return frame.loggedIn ? "0" : kMapped;
}

/// Until the token agrees; never in "ERROR".
void addSearch(Body& body, const Frame& frame) {
    const Outcome failed = endsLoggedOut(frame, {.error = errorOf(frame)});
    const Outcome searching = endsLoggedOut(frame, {.error = errorOf(frame), .search = true});
    body.steps.push_back({frame.call("C_FindObjectsInit", "[CKA_CLASS=3 CKA_ID=01]"), failed, {}});
    body.steps.push_back({frame.call("C_FindObjects", "max=1"), searching, {}});
}

Body signBody(const Frame& frame) {
    const std::string error = errorOf(frame);
    const Outcome searching = endsLoggedOut(frame, {.error = error, .search = true});
    const Outcome signing = endsLoggedOut(frame, {.error = error, .sign = true});
    // Counts as a success that told no length: the second call then has no room.
    const Outcome noRoom = endsLoggedOut(frame, {.error = frame.loggedIn ? "0" : "80f5", .sign = true},
                                         {frame.call("C_Sign", "0102, room=0")});
    Body body;
    body.good = ends("0", frame.ended(), {}, {{"SIGNEDDATA", 1, 2, "AAH//////////////wD+/Q=="}});
    addSearch(body, frame);
    body.steps.push_back({frame.call("C_FindObjectsFinal"), searching, {}});
    body.steps.push_back({frame.call("C_SignInit", "CKM_RSA_PKCS, 0x101"), endsLoggedOut(frame, {.error = error}), {}});
    body.steps.push_back({frame.call("C_Sign", "0102, null"), signing, {{CKR_BUFFER_TOO_SMALL, noRoom}}});
    body.steps.push_back({frame.call("C_Sign", "0102, room=16"), signing, {}});
    addLogout(body, frame);
    return body;
}

/// There is no such key: the search stays open.
Body noKeyBody(const Frame& frame) {
    Body body;
    body.good = ends("80f3", frame.ended().search());
    addSearch(body, frame);
    addLogout(body, frame);
    return body;
}

void addSigningKey(Fake::Module& fake) {
    fake.addObject(Fake::Attributes()
                       .number(CKA_CLASS, CKO_PRIVATE_KEY)
                       .hex(CKA_ID, "01")
                       .hex(CKA_MODULUS, "C0020304050607080910111213141501"));
}

} // namespace

std::vector<Story> signStories() {
    const Params params = Params().plain("ALGOID", kRsa).hex("KEYID", "01").base64("DATA", "AQI=");
    std::vector<Story> stories;
    for (const Start start : {Start::NoSession, Start::ReadOnly, Start::Public, Start::UserIn, Start::OfficerIn}) {
        stories.push_back(loggedInStory("Sign", start, "signData", params, addSigningKey, signBody));
        stories.push_back(loggedInStory("SignWithoutKey", start, "signData", params, {}, noKeyBody));
    }
    return stories;
}

} // namespace Faults
