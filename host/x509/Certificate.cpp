#include "host/x509/Certificate.h"

#include <array>

#include <botan/der_enc.h>
#include <botan/x509cert.h>

#include "host/x509/Algorithms.h"
#include "host/x509/Name.h"
#include "host/x509/Pem.h"
#include "text/Hexadecimal.h"

namespace host::x509 {

namespace {

constexpr const char* kNoCertificate = "not a certificate in PEM or DER";

/// The library's numbering has the first bit of the DER bit string as its highest one.
constexpr Botan::Key_Constraints constraintOf(std::size_t bit) noexcept {
    return static_cast<Botan::Key_Constraints>(Botan::DIGITAL_SIGNATURE >> bit);
}

KeyUsage usageOf(const Botan::X509_Certificate& certificate) {
    KeyUsage usage;
    for (std::size_t bit = 0; bit < usage.size(); ++bit) {
        usage.set(bit, (certificate.constraints() & constraintOf(bit)) != 0);
    }
    return usage;
}

/// The serial number as it stands in the certificate: a re-encoded one would differ where the original is not minimal.
Bytes serialOf(const Botan::X509_Certificate& certificate) {
    const Bytes body = certificate.signed_body();
    Botan::BER_Decoder decoder(body);
    Botan::BER_Object object = decoder.get_next_object();
    if (!object.is_a(Botan::INTEGER, Botan::UNIVERSAL)) { // the version
        object = decoder.get_next_object();
    }
    Bytes der;
    Botan::DER_Encoder(der).add_object(Botan::INTEGER, Botan::UNIVERSAL, object.bits(), object.length());
    return der;
}

std::string hexadecimalOf(ByteView bytes) {
    std::string digits(bytes.size() * 2, '\0');
    text::encodeHexadecimal(bytes, digits.data());
    return digits;
}

std::string serialTextOf(const Botan::X509_Certificate& certificate) {
    const Bytes& number = certificate.serial_number();
    std::string text = certificate.is_serial_negative() ? "-" : "";
    text += number.empty() ? "00" : hexadecimalOf(number);
    return text;
}

/// From the library's "2026/01/31 12:00:00 UTC".
std::string timeText(const Botan::X509_Time& time) {
    std::string text = time.readable_string();
    for (char& character : text) {
        character = character == '/' ? '-' : character == ' ' ? 'T' : character;
    }
    return text.substr(0, text.find("TUTC")) + "Z";
}

std::optional<PublicKey> keyOf(const Botan::X509_Certificate& certificate, const std::string& name) {
    if (certificate.subject_public_key_algo().get_oid() != rsaEncryption().get_oid()) {
        return std::nullopt;
    }
    return PublicKey::read(certificate.subject_public_key_info(), name);
}

void refuseTrailingBytes(ByteView der, const std::string& name) {
    Botan::BER_Decoder decoder(der.data(), der.size());
    (void)decoder.get_next_object();
    if (decoder.more_items()) {
        throw UsageError(name + ": something follows the certificate; a DER file has one certificate and nothing else");
    }
}

Certificate takeApart(ByteView der, const std::string& name) {
    refuseTrailingBytes(der, name);
    const Botan::X509_Certificate certificate(der.data(), der.size());
    Certificate result;
    result.der.assign(der.begin(), der.end());
    result.subject = certificate.raw_subject_dn();
    result.issuer = certificate.raw_issuer_dn();
    result.serial = serialOf(certificate);
    result.subjectText = nameText(result.subject, name);
    result.issuerText = nameText(result.issuer, name);
    result.serialText = serialTextOf(certificate);
    result.notBefore = timeText(certificate.not_before());
    result.notAfter = timeText(certificate.not_after());
    result.publicKey = keyOf(certificate, name);
    result.isAuthority = certificate.is_CA_cert();
    result.usage = usageOf(certificate);
    return result;
}

bool isCertificate(const PemBlock& block) {
    return block.label == "CERTIFICATE" || block.label == "X509 CERTIFICATE";
}

} // namespace

std::vector<Certificate> Certificate::readAll(ByteView file, const std::string& name) {
    return readOrExplain(name, kNoCertificate, [&] {
        std::vector<Certificate> certificates;
        if (!isPem(file)) {
            certificates.push_back(takeApart(file, name));
            return certificates;
        }
        for (const PemBlock& block : readPem(file, name)) {
            if (isCertificate(block)) {
                certificates.push_back(takeApart(block.bytes.bytes(), name));
            }
        }
        if (certificates.empty()) {
            throw UsageError(name + ": no \"CERTIFICATE\" is in this PEM file");
        }
        return certificates;
    });
}

Certificate Certificate::read(ByteView file, const std::string& name) {
    return std::move(readAll(file, name).front());
}

std::string Certificate::pem() const {
    return writePem("CERTIFICATE", der);
}

} // namespace host::x509
