#include "host/card/KeySteps.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "host/card/Memory.h"
#include "host/plugin/ClientCodes.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

constexpr const char* kRsa = "1.2.840.113549.1.1.1";
constexpr std::string_view kPublicExponent("\x01\x00\x01", 3);

const char* flag(bool value) {
    return value ? "1" : "0";
}

} // namespace

KeyUse readKeyUse(const std::string& text) {
    KeyUse use{false, false};
    std::string_view left = text;
    while (!left.empty()) {
        const std::string_view word = left.substr(0, left.find(','));
        if (word != "sign" && word != "decrypt") {
            break;
        }
        (word == "sign" ? use.signs : use.decrypts) = true;
        left.remove_prefix(std::min(left.size(), word.size() + 1));
    }
    if (!left.empty() || (!use.signs && !use.decrypts)) {
        throw UsageError("--use takes sign, decrypt or sign,decrypt");
    }
    return use;
}

std::vector<ObjectView> findObjects(const std::vector<ObjectView>& objects, ObjectClass objectClass,
                                    const std::string& id) {
    std::vector<ObjectView> found;
    std::copy_if(objects.begin(), objects.end(), std::back_inserter(found),
                 [&](const ObjectView& object) { return object.objectClass == objectClass && object.id == id; });
    return found;
}

void refuseTakenId(const Token& token, const std::string& id) {
    const std::vector<ObjectView> objects = token.objects();
    if (!findObjects(objects, ObjectClass::PrivateKey, id).empty() ||
        !findObjects(objects, ObjectClass::PublicKey, id).empty()) {
        throw CardFailure(ExitStatus::Refused, "looking for the identifier " + hexadecimalText(id),
                          "a key on " + token.name() + " has it already",
                          "Take another identifier, or remove that key first with \"p11host remove\".");
    }
}

void checkKeySize(const Token& token, const std::string& size) {
    std::uint64_t bits = 0;
    std::from_chars(size.data(), size.data() + size.size(), bits);
    const std::vector<MechanismView> all = token.mechanisms();
    const auto made = std::find_if(all.begin(), all.end(), [](const auto& m) { return m.number == kRsaKeyPairs; });
    if (!all.empty() && made == all.end()) {
        throw CardFailure(ExitStatus::Failed, "asking what " + token.name() + " can do", "it makes no RSA keys itself",
                          "Make the key elsewhere and bring it in with \"p11host import-key\".");
    }
    const bool isKnown = made != all.end() && made->largestKey != 0;
    if (isKnown && (bits < made->smallestKey || bits > made->largestKey)) {
        throw CardFailure(ExitStatus::Failed, "asking what " + token.name() + " can do",
                          "it makes RSA keys of " + std::to_string(made->smallestKey) + " to " +
                              std::to_string(made->largestKey) + " bits",
                          "Give another --size.");
    }
    requireMemory(token, keyPairNeed("the key pair", bits));
}

void addKeyAttributes(ScriptCall& call, const std::string& id, const std::string& label, KeyUse use) {
    call.plain("TOKEN", "1").plain("PRIVATE_PRK", "1").plain("PRIVATE_PUK", "0");
    call.plain("SENSITIVE", "1").plain("EXTRACTABLE", "0").bytes("ID", id);
    if (!label.empty()) {
        call.text("LABEL", label);
    }
    call.plain("SIGN", flag(use.signs)).plain("VERIFY", flag(use.signs));
    call.plain("DECRYPT", flag(use.decrypts)).plain("ENCRYPT", flag(use.decrypts));
    // Left out, these are up to the token, and some say yes to all.
    call.plain("SIGN_RECOVER", "0").plain("VERIFY_RECOVER", "0").plain("UNWRAP", "0").plain("WRAP", "0");
}

ObjectView generateKey(Token& token, const NewKey& key) {
    ScriptCall call("generateKeyPair");
    call.plain("ALGOID", kRsa).plain("KEYSIZE", key.size).base64("PUBLICEXPONENT", kPublicExponent);
    addKeyAttributes(call, key.id, key.label, key.use);
    if (!token.run("generating a key of " + key.size + " bits", call)) {
        return {};
    }
    token.note("the key pair " + hexadecimalText(key.id) + " is on the token");
    const std::vector<ObjectView> made = findObjects(token.objects(), ObjectClass::PublicKey, key.id);
    if (made.size() != 1 || made.front().modulus.empty() || made.front().exponent.empty()) {
        throw CardFailure(ExitStatus::Failed, "reading the new public key of " + token.name(),
                          "the token does not show it", "\"p11host objects\" shows what there is.");
    }
    return made.front();
}

void nameContainer(Token& token, const std::string& id, const std::string& name) {
    ScriptCall call("writeData");
    call.plain("OBJ_TYPE", "CONTAINER_NAME").bytes("KEYID", id).text("CONTAINER_NAME", name);
    if (!token.run("naming the container", call)) {
        return;
    }
    token.note("the container of the key " + hexadecimalText(id) + " is named");
    const std::vector<ObjectView> keys = findObjects(token.objects(), ObjectClass::PrivateKey, id);
    const bool isKept = std::any_of(keys.begin(), keys.end(), [&](const ObjectView& key) {
        return key.containerName.empty() || key.containerName == name; // a token need not show it
    });
    if (!isKept) {
        throw CardFailure(ExitStatus::Failed, "reading the container's name back", "the token shows another one",
                          "The key works without it; ask the card's vendor.");
    }
}

} // namespace host
