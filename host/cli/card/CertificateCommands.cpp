#include "host/card/Certificates.h"

#include <filesystem>
#include <map>

#include "host/card/KeyLookup.h"
#include "host/card/KeySteps.h"
#include "host/card/Memory.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/cli/card/FileArguments.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Secrets.h"
#include "host/x509/Name.h"
#include "host/x509/Pem.h"

namespace host {

namespace {

/// The one certificate of a file. A chain is refused: which of its certificates is meant would be a guess.
x509::Certificate readCertificateFile(const std::string& path) {
    const WipedBytes file = readFile(path);
    std::vector<x509::Certificate> certificates = x509::Certificate::readAll(x509::viewOf(file), fileName(path));
    if (certificates.size() != 1) {
        throw UsageError(fileName(path) + ": " + std::to_string(certificates.size()) +
                         " certificates are in it; give each in a file of its own");
    }
    return std::move(certificates.front());
}

/// --id; for an authority's certificate its key's own identifier without it.
std::string idFor(const CardRun& run, const x509::Certificate& certificate) {
    const bool hasOwn = run.arguments().has("--ca") && certificate.publicKey;
    return hasOwn && !run.id() ? textOf(certificate.publicKey->identifier()) : run.requiredId();
}

/// Without --label a certificate is called as its key is.
std::string labelFor(const CardRun& run, const Token& token, const NewCertificate& added) {
    const std::optional<std::string> label = run.label();
    const std::optional<FoundKey> key = label || added.isAuthority ? std::nullopt : findKey(token, added.id);
    return label ? *label : (key ? key->label : "");
}

void write(CardRun& run) {
    NewCertificate added{readCertificateFile(run.arguments().operands.front()), "", "", run.arguments().has("--ca")};
    added.id = idFor(run, added.certificate);
    if (added.isAuthority && !added.certificate.isAuthority && !run.arguments().has("--force")) {
        throw UsageError("--ca: this certificate is not that of an authority; leave --ca out, or give --force");
    }
    Token& token = run.token();
    requireMemory(token, {.what = "the certificate", .publicBytes = added.certificate.der.size()});
    loginUser(run, token);
    if (!run.arguments().has("--force")) {
        checkPairing(token, added);
    }
    added.label = labelFor(run, token, added);
    writeCertificate(token, added);
    run.answer["id"] = hexadecimalText(added.id);
    run.answer["subject"] = added.certificate.subjectText;
    run.answer["issuer"] = added.certificate.issuerText;
    run.answer["serial"] = added.certificate.serialText;
    run.text = "The certificate of " + printable(added.certificate.subjectText) + " is on " + token.name() +
               " with the identifier " + hexadecimalText(added.id) + ".\n";
}

x509::Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

/// Empty for bytes that are no name.
std::string subjectOf(const ObjectView& object) {
    try {
        return x509::nameText(bytesOf(object.subject), "subject");
    } catch (const UsageError&) {
        return "";
    }
}

std::string pemOf(const ObjectView& object) {
    return x509::writePem("CERTIFICATE", bytesOf(object.value));
}

bool isFolder(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored);
}

/// A file's name for each certificate: its identifier, with a number where that is not enough.
std::vector<std::string> fileNames(const std::vector<ObjectView>& certificates, bool isDer) {
    std::map<std::string, int> taken;
    std::vector<std::string> names;
    for (const ObjectView& object : certificates) {
        std::string name = object.id.empty() ? "certificate" : hexadecimalText(object.id);
        const int count = ++taken[name];
        if (count > 1) {
            name.append("-").append(std::to_string(count));
        }
        names.push_back(name + (isDer ? ".der" : ".pem"));
    }
    return names;
}

void deliverIntoFolder(CardRun& run, const std::vector<ObjectView>& certificates, bool isDer) {
    const std::vector<std::string> names = fileNames(certificates, isDer);
    for (const std::string& name : names) {
        run.token().announce(name + " is written");
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        const ObjectView& object = certificates[i];
        run.deliverInto(*run.arguments().value("--out") + "/" + names[i], isDer ? object.value : pemOf(object));
        run.token().note(names[i] + " is written");
        run.text += names[i] + "\n";
    }
}

void deliverAll(CardRun& run, const std::vector<ObjectView>& certificates, bool isDer) {
    if (isDer && certificates.size() != 1) {
        throw UsageError("a DER file takes one certificate, and there are " + std::to_string(certificates.size()) +
                         "; name one with --id, or an existing folder with --out");
    }
    std::string all;
    for (const ObjectView& object : certificates) {
        all += isDer ? object.value : pemOf(object);
    }
    run.deliver(all);
}

void read(CardRun& run) {
    const bool isDer = wantsDer(run);
    const std::vector<ObjectView> certificates = certificatesOf(run.token(), run.id());
    Json list = Json::array();
    for (const ObjectView& object : certificates) {
        list.push_back({{"pem", pemOf(object)}, {"subject", subjectOf(object)}, {"id", hexadecimalText(object.id)}});
    }
    run.answer["certificates"] = std::move(list);
    const std::string out = run.arguments().value("--out").value_or("");
    if (!out.empty() && isFolder(pathOf(out))) {
        deliverIntoFolder(run, certificates, isDer);
    } else {
        deliverAll(run, certificates, isDer);
    }
}

} // namespace

CardCommand writeCertificateCommand() {
    return {"write-certificate",
            "write a certificate to the token",
            {{"FILE", "The certificate, PEM or DER"}},
            withPin({kIdOption,
                     {"--label", "TEXT", "Label; default: that of the key"},
                     {"--ca", "", "The certificate of an authority: no key belongs to it"},
                     {"--force", "", "Write it although it does not fit"},
                     kPinOption}),
            std::string("Refused when it belongs to another key than that of the identifier, and when the\n"
                        "identifier has a certificate. With --ca the identifier is the key's own by default.\n"
                        "  p11host write-certificate mine.pem --id 01\n") +
                kPinNotes,
            write};
}

CardCommand readCertificatesCommand() {
    return {"read-certificates",
            "read certificates from the token",
            {},
            withToken({{"--id", "HEX", "Those with this identifier; default: all"},
                       kFormatOption,
                       {"--out", "FILE", "Write into FILE; into an existing folder one file each"}}),
            "  p11host read-certificates --id 01 --out mine.pem\n",
            read};
}

} // namespace host
