#include "host/card/Signing.h"

#include <algorithm>

#include "host/card/KeyLookup.h"
#include "host/card/KeySteps.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/cli/card/FileArguments.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Secrets.h"
#include "host/x509/Name.h"
#include "host/x509/Pem.h"
#include "text/Base64.h"

namespace host {

namespace {

std::vector<x509::AlternativeName> alternativeNames(const CardRun& run) {
    std::vector<x509::AlternativeName> names;
    for (const std::string& text : run.arguments().values("--san")) {
        names.push_back(x509::AlternativeName::parse(text));
    }
    return names;
}

void request(CardRun& run) {
    const std::string id = run.requiredId();
    const std::optional<std::string> subject = run.arguments().value("--subject");
    if (!subject) {
        throw UsageError("--subject is missing, for example --subject \"/O=Example/CN=Jane Doe\"");
    }
    const x509::Bytes name = x509::parseSubject(*subject);
    const x509::Hash hash = hashOf(run);
    const std::vector<x509::AlternativeName> names = alternativeNames(run);
    const std::optional<std::string> usage = run.arguments().value("--key-usage");
    const x509::KeyUsage wanted = usage ? x509::parseKeyUsage(*usage) : x509::KeyUsage();
    Token& token = run.token();
    loginUser(run, token);
    const FoundKey found = requireKey(token, id);
    const x509::CertificateRequest asked{name, found.key, names, usage ? wanted : usageOf(found)};
    const std::optional<x509::Bytes> der = signRequest(token, id, hash, asked);
    if (der) {
        const std::string pem = x509::writePem("CERTIFICATE REQUEST", *der);
        run.answer["request"] = pem;
        run.deliver(pem);
    }
}

std::string base64Of(const x509::Bytes& bytes) {
    return toUtf8(toBase64(textOf(bytes)));
}

void sign(CardRun& run) {
    const std::string id = run.requiredId();
    const x509::Hash hash = hashOf(run);
    const x509::Bytes digest = digestOfFile(run.arguments().operands.front(), hash);
    Token& token = run.token();
    loginUser(run, token);
    const SignedDigest made = signDigest(token, id, hash, digest);
    if (run.isDryRun()) {
        return;
    }
    run.answer["signature"] = base64Of(made.signature);
    run.answer["hash"] = x509::hashName(hash);
    run.answer["verified"] = made.isVerified;
    if (!made.isVerified) {
        run.person().tell("The signature is not verified: the token shows neither public key nor certificate.");
    }
    if (run.arguments().has("--out")) {
        run.deliver(textOf(made.signature));
    } else {
        run.text = base64Of(made.signature) + "\n";
    }
}

/// The bytes of a signature's file, which may be the Base64 text that `sign` prints.
x509::Bytes readSignature(const std::string& path, const x509::PublicKey& key) {
    const WipedBytes file = readFile(path);
    if (file.size() != key.modulus().size()) {
        const SecretBuffer bytes = text::decodeBase64(std::wstring(file.begin(), file.end()));
        if (bytes.size() == key.modulus().size()) {
            return {bytes.bytes().begin(), bytes.bytes().end()};
        }
    }
    return {file.begin(), file.end()};
}

void verify(CardRun& run) {
    const std::string id = run.requiredId();
    const x509::Hash hash = hashOf(run);
    const std::vector<std::string>& files = run.arguments().operands;
    const x509::Bytes digest = digestOfFile(files[0], hash);
    const FoundKey found = requireKey(run.token(), id);
    const bool isValid = found.key.verify(hash, digest, readSignature(files[1], found.key));
    run.answer["valid"] = isValid;
    run.text = isValid ? "The signature is valid.\n" : "The signature is NOT valid.\n";
    run.status = isValid ? ExitStatus::Success : ExitStatus::Failed;
}

} // namespace

CardCommand requestCommand() {
    return {"request",
            "make a certificate request, signed on the token",
            {},
            withPin({kIdOption,
                     {"--subject", "NAME", "As in \"/C=DE/O=Example/CN=Jane Doe\""},
                     {"--san", "NAME", "DNS:…, IP:…, email:… or URI:…; may stand again", true},
                     {"--key-usage", "LIST", "Such as digitalSignature; default: what the key may do"},
                     kHashOption,
                     kPinOption,
                     kOutOption}),
            std::string("A \"/\", \"\\\", \"=\", \"+\" or \",\" that belongs to a value has a backslash before it.\n"
                        "  p11host request --id 01 --subject \"/O=Example/CN=Jane Doe\" --out mine.csr\n") +
                kPinNotes,
            request};
}

CardCommand signCommand() {
    return {"sign",
            "sign a file with a key of the token",
            {{"FILE", "What is signed"}},
            withPin({kIdOption, kHashOption, kPinOption, kOutOption}),
            std::string("RSA with PKCS #1 v1.5. The signature is verified before it is given out: its bytes\n"
                        "into --out, or Base64.\n"
                        "  p11host sign letter.txt --id 01 --out letter.sig\n") +
                kPinNotes,
            sign};
}

CardCommand verifyCommand() {
    return {"verify",
            "verify a signature with a key or certificate of the token",
            {{"FILE", "What was signed"}, {"SIGNATURE", "The signature: its bytes, or Base64"}},
            withToken({kIdOption, kHashOption}),
            "Ends with status 1 when the signature is not valid.\n"
            "  p11host verify letter.txt letter.sig --id 01\n",
            verify};
}

} // namespace host
