#include "host/card/Certificates.h"

#include <algorithm>
#include <iterator>

#include "host/card/KeyLookup.h"
#include "host/card/KeySteps.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

std::string textOf(const x509::Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

std::vector<ObjectView> sameCertificates(const Token& token, const NewCertificate& added) {
    std::vector<ObjectView> found = findObjects(token.objects(), ObjectClass::Certificate, added.id);
    std::erase_if(found, [&](const ObjectView& object) { return object.value != textOf(added.certificate.der); });
    return found;
}

void refuseSecond(const Token& token, const NewCertificate& added) {
    if (findObjects(token.objects(), ObjectClass::Certificate, added.id).empty()) {
        return;
    }
    const bool isSame = !sameCertificates(token, added).empty();
    throw CardFailure(ExitStatus::Refused, "looking for the identifier " + hexadecimalText(added.id),
                      isSame ? "this certificate is on " + token.name() + " already"
                             : "another certificate on " + token.name() + " has it",
                      isSame ? "There is nothing to do."
                             : "Remove that one first with \"p11host remove --certificates --id " +
                                   hexadecimalText(added.id) + "\", or give --force.");
}

ScriptCall certificateCall(const NewCertificate& added, const char* category) {
    const x509::Certificate& certificate = added.certificate;
    ScriptCall call("writeData");
    call.plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509").base64("DATA", textOf(certificate.der));
    call.plain("TOKEN", "1").plain("PRIVATE", "0");
    if (category != nullptr) {
        call.plain("CERT_CATEGORY", category);
    }
    if (!added.label.empty()) {
        call.text("LABEL", added.label);
    }
    call.bytes("SUBJECT", textOf(certificate.subject)).bytes("ID", added.id);
    call.bytes("ISSUER", textOf(certificate.issuer)).bytes("SN", textOf(certificate.serial));
    return call;
}

/// Some tokens keep no category and refuse the whole certificate because of it. Returns false in a dry run.
bool writeWithOrWithoutCategory(Token& token, const NewCertificate& added) {
    constexpr const char* kDoing = "writing the certificate";
    try {
        return token.run(kDoing, certificateCall(added, added.isAuthority ? "CA" : "USER")).has_value();
    } catch (const CardFailure& failure) {
        if (failure.result != "CKR_ATTRIBUTE_TYPE_INVALID") {
            throw;
        }
    }
    token.run(kDoing, certificateCall(added, nullptr));
    if (added.isAuthority) {
        token.person().tell("The token does not keep that this is the certificate of an authority.");
    }
    return true;
}

} // namespace

void checkPairing(const Token& token, const NewCertificate& added) {
    refuseSecond(token, added);
    if (added.isAuthority) {
        return;
    }
    const FoundKey found = requireKey(token, added.id);
    if (added.certificate.publicKey != found.key) {
        throw CardFailure(ExitStatus::Refused, "comparing the certificate with the key " + hexadecimalText(added.id),
                          "the certificate belongs to another key",
                          "Give the --id of its key, --ca for the certificate of an authority, or --force.");
    }
}

void writeCertificate(Token& token, const NewCertificate& added) {
    if (!writeWithOrWithoutCategory(token, added)) {
        return;
    }
    token.note("the certificate " + hexadecimalText(added.id) + " is on the token");
    if (sameCertificates(token, added).empty()) {
        throw CardFailure(ExitStatus::Failed, "reading the certificate back from " + token.name(),
                          "the token does not show it", "\"p11host objects\" shows what there is.");
    }
}

std::vector<ObjectView> certificatesOf(const Token& token, const std::optional<std::string>& id) {
    const std::vector<ObjectView> objects = token.objects();
    std::vector<ObjectView> found;
    std::copy_if(objects.begin(), objects.end(), std::back_inserter(found), [&](const ObjectView& object) {
        return object.objectClass == ObjectClass::Certificate && (!id || object.id == *id);
    });
    if (found.empty()) {
        throw CardFailure(ExitStatus::NotFound, "reading the certificates of " + token.name(),
                          id ? "no certificate has the identifier " + hexadecimalText(*id)
                             : "the token shows no certificate",
                          "\"p11host objects\" lists what is on the token.");
    }
    return found;
}

} // namespace host
