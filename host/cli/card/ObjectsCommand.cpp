#include <algorithm>

#include "host/cli/Table.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/x509/Certificate.h"

namespace host {

namespace {

/// What is written in a certificate; nothing for one that cannot be read.
std::optional<x509::Certificate> certificateOf(const ObjectView& object) {
    try {
        return x509::Certificate::read(x509::viewOf(object.value), "the certificate");
    } catch (const UsageError&) {
        return std::nullopt;
    }
}

/// The identifier of the key that a certificate belongs to, by the modulus; nothing when no such key is seen.
std::optional<std::string> keyOf(const x509::Certificate& certificate, const std::vector<ObjectView>& objects) {
    const auto isItsKey = [&](const ObjectView& object) {
        const std::string& modulus = object.modulus;
        return object.objectClass != ObjectClass::Certificate && !modulus.empty() && certificate.publicKey &&
               std::equal(modulus.begin(), modulus.end(), certificate.publicKey->modulus().begin(),
                          certificate.publicKey->modulus().end(),
                          [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
    };
    const auto found = std::find_if(objects.begin(), objects.end(), isItsKey);
    return found == objects.end() ? std::nullopt : std::optional(hexadecimalText(found->id));
}

Json objectJson(const ObjectView& object, const std::vector<ObjectView>& objects) {
    Json json = {{"class", nameOf(object.objectClass)},
                 {"label", object.label},
                 {"id", hexadecimalText(object.id)},
                 {"type", object.type},
                 {"size", object.size ? Json(*object.size) : Json(nullptr)},
                 {"private", object.isPrivate},
                 {"usage", object.usage}};
    if (object.objectClass == ObjectClass::Certificate) {
        const std::optional<x509::Certificate> certificate = certificateOf(object);
        json["subject"] = certificate ? Json(certificate->subjectText) : Json(nullptr);
        json["issuer"] = certificate ? Json(certificate->issuerText) : Json(nullptr);
        json["serial"] = certificate ? Json(certificate->serialText) : Json(nullptr);
        json["notAfter"] = certificate ? Json(certificate->notAfter) : Json(nullptr);
        const std::optional<std::string> key = certificate ? keyOf(*certificate, objects) : std::nullopt;
        json["key"] = key ? Json(*key) : Json(nullptr);
    }
    return json;
}

/// What a key may do, or whose a certificate is, until when, and which key it belongs to.
std::string remark(const ObjectView& object, const std::vector<ObjectView>& objects) {
    if (object.objectClass != ObjectClass::Certificate) {
        return joined(object.usage);
    }
    const std::optional<x509::Certificate> certificate = certificateOf(object);
    if (!certificate) {
        return "unreadable";
    }
    const std::optional<std::string> key = keyOf(*certificate, objects);
    return certificate->subjectText + ", until " + certificate->notAfter.substr(0, 10) +
           (key ? ", of key " + (key->empty() ? "without identifier" : *key) : "");
}

/// Which objects are shown.
struct Wanted {
    std::optional<std::string> id;
    std::optional<std::string> label;
    std::optional<std::string> type; ///< as a URI has it
};

/// The word of a URI for a class.
const char* uriTypeOf(ObjectClass objectClass) {
    switch (objectClass) {
    case ObjectClass::Certificate:
        return "cert";
    case ObjectClass::PrivateKey:
        return "private";
    case ObjectClass::PublicKey:
        return "public";
    case ObjectClass::SecretKey:
        return "secret-key";
    case ObjectClass::Data:
        return "data";
    case ObjectClass::Other:
        break;
    }
    return "";
}

bool isMeant(const ObjectView& object, const Wanted& wanted) {
    return (!wanted.id || object.id == *wanted.id) && (!wanted.label || object.label == *wanted.label) &&
           (!wanted.type || uriTypeOf(object.objectClass) == *wanted.type);
}

void showObjects(CardRun& run) {
    const Wanted wanted{run.id(), run.label(), run.uriType()};
    Token& token = run.token();
    // Private objects are seen by who has logged in; without a source of the PIN nobody is asked for it.
    const bool isLoggedIn = run.arguments().has("--pin");
    if (isLoggedIn) {
        token.login(readCurrentPin(run.pinSource("--pin"), PinRole::User, token));
    }
    Json list = Json::array();
    TextTable table({"CLASS", "LABEL", "ID", "TYPE", "SIZE", "REMARK"});
    const std::vector<ObjectView> objects = token.objects();
    for (const ObjectView& object : objects) {
        if (isMeant(object, wanted)) {
            list.push_back(objectJson(object, objects));
            table.add({nameOf(object.objectClass), orDash(object.label), orDash(hexadecimalText(object.id)),
                       orDash(object.type), object.size ? std::to_string(*object.size) : "-",
                       orDash(remark(object, objects))});
        }
    }
    run.text = list.empty() ? "no objects\n" : table.text();
    run.text += isLoggedIn ? "" : "Private objects are shown with --pin SOURCE.\n";
    run.answer["objects"] = std::move(list);
}

} // namespace

CardCommand objectsCommand() {
    return {"objects",
            "list keys, certificates and data on a token",
            {},
            withPin({{"--id", "HEX", "Only objects with this identifier"},
                     {"--label", "TEXT", "Only objects with this label"},
                     {"--pin", "SOURCE", "Log the user in, to see private objects too"}}),
            "The remark on a certificate names the key with the same modulus.\n",
            showObjects};
}

} // namespace host
