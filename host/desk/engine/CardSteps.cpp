#include <algorithm>

#include "host/card/Certificates.h"
#include "host/card/ImportKey.h"
#include "host/card/KeyLookup.h"
#include "host/card/KeySteps.h"
#include "host/card/Memory.h"
#include "host/card/Signing.h"
#include "host/desk/engine/Authority.h"
#include "host/desk/engine/CardWork.h"
#include "host/desk/list/PersonList.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Secrets.h"
#include "host/x509/Name.h"
#include "host/x509/Pem.h"
#include "host/x509/PrivateKey.h"

namespace host::desk {

namespace {

x509::Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

/// What the check signs: it means nothing, and no other program can take the signature for one of its own.
constexpr std::string_view kChecked = "p11host issue checks the card";

} // namespace

void CardWork::generate(const Step& step) {
    checkKeySize(m_token, step.size);
    refuseTakenId(m_token, step.id);
    m_begun = m_step;
    const NewKey key{step.id, step.label.expand(m_row), step.size, step.use};
    [[maybe_unused]] const ObjectView made = generateKey(m_token, key);
}

void CardWork::import(const Step& step) {
    const std::string path = step.file.expand(m_row);
    const WipedBytes file = readFile(path);
    x509::PrivateKey key = x509::PrivateKey::read(x509::viewOf(file), "file \"" + printable(path) + "\"", [&] {
        if (step.passphrase.empty()) {
            throw CardFailure(ExitStatus::Failed, "reading the key file \"" + printable(path) + "\"",
                              "it is encrypted, and the plan's step has no \"passphrase\"",
                              "Name a secret in the step import-key.");
        }
        return secret(step.passphrase);
    });
    checkImport(m_token, key);
    refuseTakenId(m_token, step.id);
    m_begun = m_step;
    importKey(m_token, {std::move(key), step.id, step.label.expand(m_row), step.use});
}

void CardWork::request(const Step& step) {
    const FoundKey found = requireKey(m_token, step.id);
    std::vector<x509::AlternativeName> names;
    for (const Template& name : step.alternativeNames) {
        names.push_back(x509::AlternativeName::parse(name.expand(m_row)));
    }
    m_subject = x509::parseSubject(step.subject.expand(m_row, subjectValue));
    const x509::KeyUsage usage = step.usage.any() ? step.usage : usageOf(found);
    const x509::CertificateRequest asked{m_subject, found.key, names, usage};
    const std::optional<x509::Bytes> der = signRequest(m_token, step.id, step.hash, asked);
    m_requestedKey = found.key;
    m_request = x509::writePem("CERTIFICATE REQUEST", *der);
}

void CardWork::certify() {
    const Wanted wanted{*m_requestedKey, x509::nameText(m_subject, "the planned subject")};
    const auto noteLost = [&](const std::string& pem, const std::string& reason) {
        m_desk.journal.revoke(m_claim, pem, reason);
    };
    m_certificate = askAuthority(m_plan.authority, m_row, m_request, wanted, noteLost);
    try {
        m_desk.journal.setCertificate(m_claim, m_certificate->pem());
    } catch (const ClaimLost&) {
        m_desk.journal.revoke(m_claim, m_certificate->pem(), "another station took the row while the authority signed");
        throw;
    }
}

void CardWork::write(const Step& step) {
    NewCertificate added{*m_certificate, step.id, step.label.expand(m_row), false};
    requireMemory(m_token, {.what = "the certificate", .publicBytes = added.certificate.der.size()});
    checkPairing(m_token, added);
    if (added.label.empty()) {
        added.label = requireKey(m_token, step.id).label;
    }
    m_begun = m_step;
    writeCertificate(m_token, added);
}

void CardWork::name(const Step& step) {
    nameContainer(m_token, step.id, step.name.expand(m_row));
}

void CardWork::check(const Step& step) {
    const FoundKey found = requireKey(m_token, step.id);
    const x509::Bytes digest = x509::digestOf(x509::Hash::Sha256, bytesOf(std::string(kChecked)));
    const SignedDigest made = signDigest(m_token, step.id, x509::Hash::Sha256, digest);
    const bool isCertified = std::any_of(m_plan.steps.begin(), m_plan.steps.end(), [&](const Step& other) {
        return other.kind == StepKind::WriteCertificate && other.id == step.id;
    });
    if (!isCertified) {
        return;
    }
    const ObjectView object = certificatesOf(m_token, step.id).front();
    const x509::Certificate certificate = x509::Certificate::read(bytesOf(object.value), "the card's certificate");
    if (!certificate.publicKey || !certificate.publicKey->verify(x509::Hash::Sha256, digest, made.signature)) {
        throw CardFailure(ExitStatus::Failed, "checking " + m_token.name(),
                          "the signature of its key does not fit the certificate on it",
                          "Do not hand the card out; \"p11host issue retry\" issues another one.");
    }
}

} // namespace host::desk
