#include "host/card/KeySteps.h"
#include "host/card/Removal.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/cli/card/FileArguments.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

void answerNewKey(CardRun& run, const NewKey& key, const ObjectView& made) {
    if (!run.isDryRun()) {
        answerKeyPair(run, key.id, key.label,
                      x509::PublicKey(x509::viewOf(made.modulus), x509::viewOf(made.exponent), "the new public key"));
    }
}

void generate(CardRun& run) {
    NewKey key;
    key.id = run.requiredId();
    key.label = run.label().value_or("");
    key.size = run.arguments().value("--size").value_or("2048");
    key.use = readKeyUse(run.arguments().value("--use").value_or("sign,decrypt"));
    if (key.size != "1024" && key.size != "2048") {
        throw UsageError("--size takes 1024 or 2048");
    }
    Token& token = run.token();
    checkKeySize(token, key.size);
    refuseTakenId(token, key.id);
    loginUser(run, token);
    refuseTakenId(token, key.id); // a private key is seen only now
    answerNewKey(run, key, generateKey(token, key));
}

void nameOneContainer(CardRun& run) {
    const std::string id = run.requiredId();
    const std::optional<std::string> name = run.arguments().value("--name");
    if (!name || name->empty() || name->find('\0') != std::string::npos) {
        throw UsageError("--name TEXT is missing, the name that the container gets");
    }
    Token& token = run.token();
    loginUser(run, token);
    if (!run.isDryRun() && findObjects(token.objects(), ObjectClass::PrivateKey, id).empty()) {
        throw CardFailure(ExitStatus::NotFound, "looking for the key " + hexadecimalText(id) + " on " + token.name(),
                          "there is no private key with that identifier",
                          "\"p11host objects --pin prompt\" lists them.");
    }
    nameContainer(token, id, *name);
    run.answer["id"] = hexadecimalText(id);
    run.answer["name"] = *name;
    run.text = "The container of the key " + hexadecimalText(id) + " is named \"" + printable(*name) + "\".\n";
}

/// A URI that names less than what would go is no reason to remove more.
void refuseNarrowUri(const CardRun& run) {
    if (run.label()) {
        throw UsageError("objects are removed by their identifiers: leave \"object\" out of the URI");
    }
    const std::string type = run.uriType().value_or("cert");
    if (type != "cert" && type != "private") {
        throw UsageError("certificates and whole key pairs can be removed: the URI's \"type\" is cert or private");
    }
    if (run.arguments().has(type == "cert" ? "--keys" : "--certificates") && run.uriType()) {
        throw UsageError("the URI's \"type\" and --keys or --certificates exclude each other");
    }
}

RemovalRequest removalRequest(const CardRun& run) {
    const CardArguments& arguments = run.arguments();
    refuseNarrowUri(run);
    RemovalRequest request;
    request.id = run.id();
    if (request.id.has_value() == arguments.has("--all")) {
        throw UsageError("give either --id HEX or --all");
    }
    if (arguments.has("--certificates") && arguments.has("--keys")) {
        throw UsageError("--certificates and --keys exclude each other; without them both kinds go");
    }
    request.certificates = !arguments.has("--keys") && run.uriType() != "private";
    request.keys = !arguments.has("--certificates") && run.uriType() != "cert";
    request.seesPrivateKeys = !run.isDryRun();
    return request;
}

std::string listed(const std::vector<ObjectView>& objects) {
    std::string text;
    for (const ObjectView& object : objects) {
        text += "  " + describe(object) + "\n";
    }
    return text;
}

void answerRemoval(CardRun& run, const Removal& removal, const RemovedCounts& counts) {
    Json staying = Json::array();
    for (const ObjectView& object : removal.staying) {
        staying.push_back(describe(object));
    }
    run.answer["removed"] = {
        {"certificates", counts.certificates}, {"privateKeys", counts.privateKeys}, {"publicKeys", counts.publicKeys}};
    run.answer["left"] = std::move(staying);
    run.text = "Removed: " + std::to_string(counts.certificates) + " certificates, " +
               std::to_string(counts.privateKeys) + " private keys, " + std::to_string(counts.publicKeys) +
               " public keys.\n";
    if (!removal.staying.empty()) {
        run.text += "Left, for no script removes them alone:\n" + listed(removal.staying);
    }
}

void remove(CardRun& run) {
    const RemovalRequest request = removalRequest(run);
    Token& token = run.token();
    loginUser(run, token);
    Removal removal = planRemoval(token.objects(), request);
    const std::string doing = "removing objects from " + token.name();
    if (removal.going.empty()) {
        const bool isLeft = !removal.staying.empty();
        throw CardFailure(ExitStatus::NotFound, doing,
                          isLeft           ? "what fits cannot be removed alone:\n" + listed(removal.staying)
                          : run.isDryRun() ? "nothing fits that is seen without a login"
                                           : "nothing fits",
                          "\"p11host objects --pin prompt\" lists what there is.");
    }
    run.person().tell("These objects of " + token.name() + " are to be removed:\n" + listed(removal.going));
    if (run.isDryRun()) {
        run.person().tell("Private objects are not seen without a login. A public key stands for its key pair.");
    }
    run.confirm(doing, "Remove " + std::to_string(removal.going.size()) + " objects for ever?");
    const RemovedCounts counts = removeObjects(token, removal);
    answerRemoval(run, removal, counts);
}

} // namespace

CardCommand generateKeyCommand() {
    return {"generate-key",
            "generate an RSA key pair on the token",
            {},
            withPin({kIdOption,
                     {"--label", "TEXT", "Label of both keys"},
                     {"--size", "1024|2048", "Bits; default: 2048"},
                     {"--use", "sign|decrypt|sign,decrypt", "Default: both"},
                     kPinOption,
                     {"--out", "FILE", "Write the public key as PEM into FILE"}}),
            std::string("The private key is private, sensitive and not extractable: it never leaves the\n"
                        "token. A card may need a minute.\n"
                        "  p11host generate-key --id 01 --label mine --out mine.pub\n") +
                kPinNotes,
            generate};
}

CardCommand nameContainerCommand() {
    return {"name-container",
            "give a key's container a name",
            {},
            withPin({kIdOption, {"--name", "TEXT", "The container's name"}, kPinOption}),
            std::string("Some Windows programs find a key by its container's name. Many tokens keep no\n"
                        "such name; the key works without it.\n") +
                kPinNotes,
            nameOneContainer};
}

CardCommand removeCommand() {
    return {"remove",
            "remove keys and certificates from a token",
            {},
            withPin({kIdOption,
                     {"--all", "", "Everything that scripts can remove"},
                     {"--certificates", "", "Certificates alone"},
                     {"--keys", "", "Key pairs alone"},
                     kPinOption,
                     kYesOption}),
            std::string("Shows what is going to be removed and asks. Secret keys and data stay, and so\n"
                        "does a public key without its private key whose certificate is to stay.\n") +
                kPinNotes,
            remove};
}

} // namespace host
