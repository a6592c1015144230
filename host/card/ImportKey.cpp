#include "host/card/ImportKey.h"

#include <algorithm>

#include "host/card/KeyLookup.h"
#include "host/card/KeySteps.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

std::string askingWhat(const Token& token) {
    return "asking what " + token.name() + " can do";
}

} // namespace

void checkImport(const Token& token, const x509::PrivateKey& key) {
    const std::vector<MechanismView> all = token.mechanisms();
    const auto use = std::find_if(all.begin(), all.end(), [](const auto& m) { return m.number == kRsaPkcs; });
    const std::size_t bits = key.publicKey.bits();
    if (use != all.end() && use->largestKey != 0 && (bits < use->smallestKey || bits > use->largestKey)) {
        throw CardFailure(ExitStatus::Failed, askingWhat(token),
                          "the key has " + std::to_string(bits) + " bits, and the token uses RSA keys of " +
                              std::to_string(use->smallestKey) + " to " + std::to_string(use->largestKey) + " bits",
                          "Make a key of a size that the token takes.");
    }
    const std::optional<std::uint64_t> free = token.info().privateMemory.free;
    if (free && *free < key.pkcs8.size()) {
        throw CardFailure(ExitStatus::Failed, askingWhat(token),
                          "it has " + std::to_string(*free) + " bytes left for private objects, and the key takes " +
                              std::to_string(key.pkcs8.size()),
                          "Free space on the token with \"p11host remove\".");
    }
}

void importKey(Token& token, const ImportedKey& imported) {
    const std::span<const std::uint8_t> pkcs8 = imported.key.pkcs8.bytes();
    ScriptCall call("writeData");
    call.plain("OBJ_TYPE", "KEY_PAIR").plain("ALGOID", "1.2.840.113549.1.1.1").plain("KEYENCODING", "PKCS8.clear");
    call.secretBase64("KEYVALUE", WipedBytes(pkcs8.begin(), pkcs8.end()));
    addKeyAttributes(call, imported.id, imported.label, imported.use);
    if (!token.run("writing the key", call)) {
        return;
    }
    token.note("the key pair " + hexadecimalText(imported.id) + " is on the token");
    if (requireKey(token, imported.id).key != imported.key.publicKey) {
        throw CardFailure(ExitStatus::Failed, "reading the key back from " + token.name(),
                          "the token shows another one",
                          "Remove it with \"p11host remove\", and try it on another token.");
    }
}

} // namespace host
