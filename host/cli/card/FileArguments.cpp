#include "host/cli/card/FileArguments.h"

#include "host/card/KeySteps.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

std::string fileName(const std::string& path) {
    return "file \"" + path + "\"";
}

std::string textOf(const x509::Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

x509::Hash hashOf(const CardRun& run) {
    const std::optional<x509::Hash> hash = x509::hashOfName(run.arguments().value("--hash").value_or("sha256"));
    if (!hash) {
        throw UsageError("--hash takes sha1, sha224, sha256, sha384 or sha512");
    }
    return *hash;
}

bool wantsDer(const CardRun& run) {
    const std::string form = run.arguments().value("--format").value_or("pem");
    if (form != "pem" && form != "der") {
        throw UsageError("--format takes pem or der");
    }
    if (form == "der" && !run.arguments().has("--out")) {
        throw UsageError("DER is no text: give --out FILE with --format der");
    }
    return form == "der";
}

void answerKey(CardRun& run, const std::string& id, const std::string& label, const x509::PublicKey& key) {
    run.answer["id"] = hexadecimalText(id);
    run.answer["label"] = label;
    run.answer["size"] = key.bits();
    run.answer["publicKey"] = key.pem();
}

void answerKeyPair(CardRun& run, const std::string& id, const std::string& label, const x509::PublicKey& key) {
    answerKey(run, id, label, key);
    run.text = "The key pair " + hexadecimalText(id) + " of " + std::to_string(key.bits()) + " bits is on " +
               run.token().name() + ".\n";
    goingOn("The key is on the token: \"p11host public-key --id " + hexadecimalText(id) + "\" gives its public key.",
            [&] { run.deliver(key.pem()); });
}

void loginUser(CardRun& run, Token& token) {
    token.login(readCurrentPin(run.pinSource("--pin"), PinRole::User, token));
}

} // namespace host
