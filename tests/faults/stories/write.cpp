// Certificates and keys that are written to the token.

#include "tests/faults/matrix/Writing.h"
#include "tests/faults/stories/Families.h"
#include "tests/unit/crypto/OpenSslKeys.h"

namespace Faults {

namespace {

const OpenSslKey& kWrittenKey = kRsa1024Exponent3;

/// The logout is tried until the token agrees, and never reaches "ERROR".
Body certificateBody(const Frame& frame) {
    Body body;
    body.steps = {{frame.call("C_CreateObject", "[CKA_CLASS=1 CKA_TOKEN=true CKA_PRIVATE=false "
                                                "CKA_CERTIFICATE_TYPE=0 CKA_VALUE=30820001 CKA_ID=01]"),
                   endsLoggedOut(frame),
                   {}}};
    body.good = ends("0", frame.ended());
    addLogout(body, frame);
    return body;
}

std::string privateKeyCall(const Frame& frame) {
    return frame.call("C_CreateObject",
                      std::string("[CKA_CLASS=3 CKA_TOKEN=true CKA_PRIVATE=true CKA_KEY_TYPE=0 CKA_PRIME_1=") +
                          kWrittenKey.prime1 + " CKA_PRIME_2=" + kWrittenKey.prime2 +
                          " CKA_EXPONENT_1=" + kWrittenKey.exponent1 + " CKA_EXPONENT_2=" + kWrittenKey.exponent2 +
                          " CKA_COEFFICIENT=" + kWrittenKey.coefficient + " CKA_MODULUS=" + kWrittenKey.modulus +
                          " CKA_PUBLIC_EXPONENT=" + kWrittenKey.publicExponent +
                          " CKA_PRIVATE_EXPONENT=" + kWrittenKey.privateExponent + " CKA_ID=01]");
}

std::string publicKeyCall(const Frame& frame, const std::string& tail = "") {
    return frame.call("C_CreateObject",
                      std::string("[CKA_CLASS=2 CKA_TOKEN=true CKA_PRIVATE=false CKA_KEY_TYPE=0 CKA_MODULUS=") +
                          kWrittenKey.modulus + " CKA_PUBLIC_EXPONENT=" + kWrittenKey.publicExponent + " CKA_ID=01" +
                          tail + "]");
}

Body privateKeyBody(const Frame& frame) {
    Body body;
    body.steps = {{privateKeyCall(frame), endsLoggedOut(frame), {}}};
    body.good = ends("0", frame.ended());
    addLogout(body, frame);
    return body;
}

/// A search that failed is not ended.
void addPublicKeySearch(Body& body, const Frame& frame) {
    const Outcome searching = endsLoggedOut(frame, {.search = true});
    body.steps.push_back({frame.call("C_FindObjectsInit", "[CKA_CLASS=2 CKA_ID=01]"), endsLoggedOut(frame), {}});
    body.steps.push_back({frame.call("C_FindObjects", "max=1"), searching, {}});
    body.steps.push_back({frame.call("C_FindObjectsFinal"), searching, {}});
}

/// A refused public key is tried once more, with the length of its modulus.
Body keyPairBody(const Frame& frame) {
    Body body = {{{privateKeyCall(frame), endsLoggedOut(frame), {}}}, ends("0", frame.ended())};
    addPublicKeySearch(body, frame);
    const Outcome again = endsLoggedOut(frame, {.error = "0"}, {publicKeyCall(frame, " CKA_MODULUS_BITS=1024")});
    body.steps.push_back({publicKeyCall(frame), again, {}});
    addLogout(body, frame);
    return body;
}

/// The public key is there already: it is kept.
Body halfPairBody(const Frame& frame) {
    Body body = {{{privateKeyCall(frame), endsLoggedOut(frame), {}}}, ends("0", frame.ended())};
    addPublicKeySearch(body, frame);
    addLogout(body, frame);
    return body;
}

/// Nothing to write: only the login is seen.
Body nothingBody(const Frame& frame) {
    Body body = {{}, ends("0", frame.ended())};
    addLogout(body, frame);
    return body;
}

Params keyParams(const std::string& type) {
    return Params()
        .plain("OBJ_TYPE", type)
        .plain("ALGOID", kRsa)
        .plain("KEYENCODING", "PKCS8.clear")
        .bytes("KEYVALUE", kWrittenKey.pkcs8)
        .hex("ID", "01");
}

void addPublicKey(Fake::Module& fake) {
    fake.addObject(Fake::Attributes()
                       .number(CKA_CLASS, CKO_PUBLIC_KEY)
                       .number(CKA_KEY_TYPE, CKK_RSA)
                       .hex(CKA_MODULUS, "C1")
                       .hex(CKA_PUBLIC_EXPONENT, "03")
                       .hex(CKA_ID, "01"));
}

} // namespace

std::vector<Story> writeStories() {
    const Params certificate =
        Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509").bytes("DATA", "30820001").hex("ID", "01");
    std::vector<Story> stories;
    const auto add = [&stories](const char* name, Start start, const Params& params, const Furnish& furnish,
                                const BodyOf& body) {
        stories.push_back(loggedInStory(name, start, "writeData", params, furnish, body));
    };
    for (const Start start : {Start::NoSession, Start::ReadOnly, Start::Public, Start::UserIn, Start::OfficerIn}) {
        add("WriteCertificate", start, certificate, {}, certificateBody);
        add("WriteKeyPair", start, keyParams("KEY_PAIR"), {}, keyPairBody);
    }
    for (const Start start : {Start::NoSession, Start::UserIn}) {
        add("WritePrivateKey", start, keyParams("PRIVATE_KEY"), {}, privateKeyBody);
        add("WriteKeyPairWithPublicKeyThere", start, keyParams("KEY_PAIR"), addPublicKey, halfPairBody);
        add("WriteNothing", start, Params().plain("LABEL", "41"), {}, nothingBody);
    }
    return stories;
}

} // namespace Faults
