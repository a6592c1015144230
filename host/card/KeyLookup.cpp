#include "host/card/KeyLookup.h"

#include "host/card/KeySteps.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/x509/Certificate.h"

namespace host {

namespace {

FoundKey keyOf(const ObjectView& object, const std::string& name) {
    return {x509::PublicKey(x509::viewOf(object.modulus), x509::viewOf(object.exponent), name), object.label,
            object.usage};
}

FoundKey certifiedKey(const ObjectView& object, const std::string& name) {
    const x509::Certificate certificate = x509::Certificate::read(x509::viewOf(object.value), name);
    if (!certificate.publicKey) {
        throw UsageError(name + ": its key is not an RSA key");
    }
    return {*certificate.publicKey, object.label, {}};
}

/// Some tokens show a private key's modulus without its public exponent.
bool isShown(const ObjectView& object) {
    return object.objectClass == ObjectClass::Certificate ? !object.value.empty()
                                                          : !object.modulus.empty() && !object.exponent.empty();
}

} // namespace

std::optional<FoundKey> findKey(const Token& token, const std::string& id) {
    const std::vector<ObjectView> objects = token.objects();
    for (const ObjectClass kind : {ObjectClass::PublicKey, ObjectClass::PrivateKey, ObjectClass::Certificate}) {
        for (const ObjectView& object : findObjects(objects, kind, id)) {
            if (!isShown(object)) {
                continue;
            }
            const std::string name = std::string(nameOf(kind)) + " " + hexadecimalText(id);
            try {
                return kind == ObjectClass::Certificate ? certifiedKey(object, name) : keyOf(object, name);
            } catch (const UsageError& error) {
                throw CardFailure(ExitStatus::Failed, "reading the key " + hexadecimalText(id) + " of " + token.name(),
                                  printable(error.what()), "\"p11host objects\" shows what there is.");
            }
        }
    }
    return std::nullopt;
}

FoundKey requireKey(const Token& token, const std::string& id) {
    std::optional<FoundKey> found = findKey(token, id);
    if (!found) {
        throw CardFailure(ExitStatus::NotFound, "looking for the key " + hexadecimalText(id) + " on " + token.name(),
                          "the token shows no public key and no certificate with that identifier",
                          "\"p11host objects\" lists the identifiers that are there.");
    }
    return std::move(*found);
}

} // namespace host
