#include "host/card/ImportKey.h"
#include "host/card/KeyLookup.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/cli/card/FileArguments.h"
#include "host/scripts/Secrets.h"

namespace host {

namespace {

x509::PrivateKey readKeyFile(CardRun& run) {
    const std::string& path = run.arguments().operands.front();
    const std::optional<std::string> source = run.arguments().value("--passphrase");
    const PinSource from = source ? readPinSource(*source) : PinSource();
    const WipedBytes file = readFile(path);
    return x509::PrivateKey::read(x509::viewOf(file), fileName(path), [&] {
        return readPassphrase(from, "Passphrase of " + fileName(path), run.person());
    });
}

void importOne(CardRun& run) {
    const KeyUse use = readKeyUse(run.arguments().value("--use").value_or("sign,decrypt"));
    const std::optional<std::string> given = run.id();
    x509::PrivateKey key = readKeyFile(run);
    const std::string id = given.value_or(textOf(key.publicKey.identifier()));
    const ImportedKey imported{std::move(key), id, run.label().value_or(""), use};
    Token& token = run.token();
    checkImport(token, imported.key);
    refuseTakenId(token, imported.id);
    loginUser(run, token);
    refuseTakenId(token, imported.id); // a private key is seen only now
    importKey(token, imported);
    if (!run.isDryRun()) {
        answerKeyPair(run, imported.id, imported.label, imported.key.publicKey);
    }
}

void showPublicKey(CardRun& run) {
    const std::string id = run.requiredId();
    const bool isDer = wantsDer(run);
    const FoundKey found = requireKey(run.token(), id);
    answerKey(run, id, found.label, found.key);
    run.deliver(isDer ? textOf(found.key.der()) : found.key.pem());
}

} // namespace

CardCommand importKeyCommand() {
    return {"import-key",
            "write an RSA key of a file to the token",
            {{"FILE", "PKCS #8 in PEM or DER, plain or encrypted; PKCS #1 likewise"}},
            withPin({{"--id", "HEX", "Identifier; default: the key's own, as certificates have it"},
                     {"--label", "TEXT", "Label of both keys"},
                     {"--use", "sign|decrypt|sign,decrypt", "Default: both"},
                     {"--passphrase", "SOURCE", "Of an encrypted file; default: prompt"},
                     kPinOption,
                     {"--out", "FILE", "Write the public key as PEM into FILE"}}),
            std::string("The private key becomes private, sensitive and not extractable.\n"
                        "  p11host import-key key.pem --label mine\n") +
                kPinNotes,
            importOne};
}

CardCommand publicKeyCommand() {
    return {"public-key",
            "show the public key of a key pair or a certificate",
            {},
            withToken({kIdOption, kFormatOption, kOutOption}),
            "  p11host public-key --id 01 --out mine.pub\n",
            showPublicKey};
}

} // namespace host
