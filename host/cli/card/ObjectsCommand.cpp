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
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(object.value.data());
        return x509::Certificate::read({bytes, object.value.size()}, "the certificate");
    } catch (const UsageError&) {
        return std::nullopt;
    }
}

Json objectJson(const ObjectView& object) {
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
    }
    return json;
}

/// What a key may do, or whose a certificate is and until when.
std::string remark(const ObjectView& object) {
    if (object.objectClass != ObjectClass::Certificate) {
        return joined(object.usage);
    }
    const std::optional<x509::Certificate> certificate = certificateOf(object);
    return certificate ? certificate->subjectText + ", until " + certificate->notAfter.substr(0, 10) : "unreadable";
}

bool isMeant(const ObjectView& object, const std::optional<std::string>& id, const std::optional<std::string>& label) {
    return (!id || object.id == *id) && (!label || object.label == *label);
}

void showObjects(CardRun& run) {
    const std::optional<std::string> id = run.id();
    const std::optional<std::string> label = run.label();
    Token& token = run.token();
    // Private objects are seen by who has logged in; without a source of the PIN nobody is asked for it.
    const bool isLoggedIn = run.arguments().has("--pin");
    if (isLoggedIn) {
        token.login(readCurrentPin(run.pinSource("--pin"), PinRole::User, token));
    }
    Json list = Json::array();
    TextTable table({"CLASS", "LABEL", "ID", "TYPE", "SIZE", "REMARK"});
    for (const ObjectView& object : token.objects()) {
        if (isMeant(object, id, label)) {
            list.push_back(objectJson(object));
            table.add({nameOf(object.objectClass), orDash(object.label), orDash(hexadecimalText(object.id)),
                       orDash(object.type), object.size ? std::to_string(*object.size) : "-", orDash(remark(object))});
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
            "A certificate belongs to the key with the same identifier.\n",
            showObjects};
}

} // namespace host
