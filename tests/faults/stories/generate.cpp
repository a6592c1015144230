// Key pairs that the token generates.

#include "tests/faults/matrix/LoginFrame.h"
#include "tests/faults/stories/Families.h"

namespace Faults {

namespace {

/// C0 01 02 … 7E 01: the scripted module's first modulus of 1024 bits.
const Output kModulus = {"MODULUS", 1, 2,
                         "wAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+P0BBQk"
                         "NERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9fgE="};

/// Only a full success logs out; after every failure the user stays logged in.
Body generateBody(const Frame& frame) {
    const Outcome failed = stops(frame.working());
    const std::string get = "0x101, [CKA_MODULUS=";
    Body body;
    body.steps = {
        {frame.call("C_GenerateKeyPair", "CKM_RSA_PKCS_KEY_PAIR_GEN, [CKA_TOKEN=true CKA_PRIVATE=false CKA_KEY_TYPE=0 "
                                         "CKA_MODULUS_BITS=1024 CKA_PUBLIC_EXPONENT=010001 CKA_ID=01], [CKA_TOKEN=true "
                                         "CKA_PRIVATE=true CKA_KEY_TYPE=0 CKA_ID=01]"),
         failed,
         {}},
        {frame.call("C_GetAttributeValue", get + "null/0]"), failed, {}},
        {frame.call("C_GetAttributeValue", get + "room/128]"), failed, {}}};
    body.good = ends("0", frame.ended(), {}, {kModulus});
    if (frame.loggedIn) {
        body.steps.push_back({frame.call("C_Logout"), ends(kMapped, frame.working(), {}, {kModulus}), {}});
    }
    return body;
}

} // namespace

std::vector<Story> generateStories() {
    const Params params =
        Params().plain("ALGOID", kRsa).plain("KEYSIZE", "1024").base64("PUBLICEXPONENT", "AQAB").hex("ID", "01");
    std::vector<Story> stories;
    for (const Start start : {Start::NoSession, Start::ReadOnly, Start::Public, Start::UserIn, Start::OfficerIn}) {
        stories.push_back(loggedInStory("GenerateKeyPair", start, "generateKeyPair", params, {}, generateBody));
    }
    return stories;
}

} // namespace Faults
