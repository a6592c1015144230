#include "host/plugin/Errors.h"
#include "host/x509/Certificate.h"
#include "host/x509/CertificateRequest.h"
#include "host/x509/Name.h"
#include "host/x509/PrivateKey.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"

// Any bytes as a certificate, a private key, a public key, a subject and an alternative name: refused with a reason, or
// read, and then what was read can be written and read again.

namespace {

using namespace host::x509;
using Fuzz::require;

constexpr const char* kName = "input";

/// Does nothing more when the input is refused.
template <class Call>
void attempt(Call call) {
    try {
        call();
    } catch (const host::UsageError& error) {
        require(error.what()[0] != '\0', "a refusal has a reason");
    }
}

void readCertificates(ByteView file) {
    for (const Certificate& certificate : Certificate::readAll(file, kName)) {
        const std::string pem = certificate.pem();
        const Certificate again =
            Certificate::read({reinterpret_cast<const std::uint8_t*>(pem.data()), pem.size()}, "");
        require(again.der == certificate.der && again.subjectText == certificate.subjectText, "PEM holds all of it");
        require(certificate.serial.size() >= 2 && certificate.serial[0] == 2, "a serial number is an INTEGER");
        require(nameText(certificate.issuer, "") == certificate.issuerText, "an issuer is a name");
    }
}

void readKeys(ByteView file) {
    const auto passphrase = [] { return WipedBytes{'g', 'e', 'h', 'e', 'i', 'm'}; };
    attempt([&] {
        const PrivateKey key = PrivateKey::read(file, kName, passphrase);
        require(PrivateKey::read(key.pkcs8.bytes(), kName, passphrase).publicKey == key.publicKey, "PKCS #8 holds it");
    });
    attempt([&] {
        const PublicKey key = PublicKey::read(file, kName);
        require(PublicKey::read(key.der(), kName) == key, "SubjectPublicKeyInfo holds it");
        require(!key.verify(Hash::Sha256, key.identifier(), file), "what no key signed is not verified");
    });
}

} // namespace

void Fuzz::x509(const std::uint8_t* data, std::size_t size) {
    const ByteView file(data, size);
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    attempt([&] { readCertificates(file); });
    readKeys(file);
    attempt([&] {
        const Bytes subject = parseSubject(text);
        require(!nameText(subject, "").empty(), "a subject is a name");
    });
    attempt([&] { require(!AlternativeName::parse(text).value.empty(), "a name has a value"); });
}
