#include "host/card/ImportKey.h"

#include <algorithm>

#include "host/card/KeyLookup.h"
#include "host/card/KeySteps.h"
#include "host/card/Memory.h"
#include "host/plugin/Texts.h"

namespace host {

void checkImport(const Token& token, const x509::PrivateKey& key) {
    const std::vector<MechanismView> all = token.mechanisms();
    const auto use = std::find_if(all.begin(), all.end(), [](const auto& m) { return m.number == kRsaPkcs; });
    const std::size_t bits = key.publicKey.bits();
    if (use != all.end() && use->largestKey != 0 && (bits < use->smallestKey || bits > use->largestKey)) {
        throw CardFailure(ExitStatus::Failed, "asking what " + token.name() + " can do",
                          "the key has " + std::to_string(bits) + " bits, and the token uses RSA keys of " +
                              std::to_string(use->smallestKey) + " to " + std::to_string(use->largestKey) + " bits",
                          "Make a key of a size that the token takes.");
    }
    requireMemory(token, keyPairNeed("the key pair", bits));
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
