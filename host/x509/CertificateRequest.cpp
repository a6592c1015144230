#include "host/x509/CertificateRequest.h"

#include <array>

#include <botan/der_enc.h>

#include "host/x509/Algorithms.h"
#include "host/x509/SignatureError.h"

namespace host::x509 {

namespace {

constexpr const char* kExtensionRequest = "1.2.840.113549.1.9.14";
constexpr const char* kKeyUsage = "2.5.29.15";
constexpr const char* kSubjectAlternativeName = "2.5.29.17";

/// In the order of Hash.
constexpr std::array kSignatureAlgorithms{"1.2.840.113549.1.1.5", "1.2.840.113549.1.1.14", "1.2.840.113549.1.1.11",
                                          "1.2.840.113549.1.1.12", "1.2.840.113549.1.1.13"};

/// DER of the named bits: the first bit is the highest of the first byte, and zeros at the end are left away.
Bytes encodeUsage(KeyUsage usage) {
    std::uint8_t unused = 0;
    Bytes content(1);
    for (std::size_t bit = 0; bit < usage.size(); ++bit) {
        if (usage.test(bit)) {
            content.resize(2 + bit / 8);
            content.back() = static_cast<std::uint8_t>(content.back() | 0x80 >> bit % 8);
            unused = static_cast<std::uint8_t>(7 - bit % 8);
        }
    }
    content.front() = unused;
    Bytes der;
    Botan::DER_Encoder(der).add_object(Botan::BIT_STRING, Botan::UNIVERSAL, content);
    return der;
}

Bytes encodeNames(const std::vector<AlternativeName>& names) {
    Bytes der;
    Botan::DER_Encoder encoder(der);
    encoder.start_cons(Botan::SEQUENCE);
    for (const AlternativeName& name : names) {
        encoder.add_object(static_cast<Botan::ASN1_Tag>(name.tag), Botan::CONTEXT_SPECIFIC, name.value);
    }
    encoder.end_cons();
    return der;
}

void encodeExtensions(Botan::DER_Encoder& encoder, const CertificateRequest& request) {
    encoder.start_cons(Botan::SEQUENCE);
    if (request.usage.any()) {
        encoder.start_cons(Botan::SEQUENCE)
            .encode(Botan::OID(kKeyUsage))
            .encode(true) // critical
            .encode(encodeUsage(request.usage), Botan::OCTET_STRING)
            .end_cons();
    }
    if (!request.alternativeNames.empty()) {
        encoder.start_cons(Botan::SEQUENCE)
            .encode(Botan::OID(kSubjectAlternativeName))
            .encode(encodeNames(request.alternativeNames), Botan::OCTET_STRING)
            .end_cons();
    }
    encoder.end_cons();
}

/// CertificationRequestInfo: what is signed.
Bytes encodeInfo(const CertificateRequest& request) {
    Bytes der;
    Botan::DER_Encoder encoder(der);
    encoder.start_cons(Botan::SEQUENCE)
        .encode(std::size_t{0}) // version 1
        .raw_bytes(request.subject)
        .raw_bytes(request.publicKey.der())
        .start_explicit(0);
    if (request.usage.any() || !request.alternativeNames.empty()) {
        encoder.start_cons(Botan::SEQUENCE).encode(Botan::OID(kExtensionRequest)).start_cons(Botan::SET);
        encodeExtensions(encoder, request);
        encoder.end_cons().end_cons();
    }
    encoder.end_explicit().end_cons();
    return der;
}

} // namespace

Bytes CertificateRequest::sign(Hash hash, const SignDigestInfo& signer) const {
    const Bytes info = encodeInfo(*this);
    const Bytes digest = digestOf(hash, info);
    const Bytes signature = signer(digestInfo(hash, digest));
    if (!publicKey.verify(hash, digest, signature)) {
        throw SignatureError("the token's signature does not belong to its public key");
    }
    const Botan::AlgorithmIdentifier algorithm(Botan::OID(kSignatureAlgorithms[static_cast<std::size_t>(hash)]),
                                               Botan::AlgorithmIdentifier::USE_NULL_PARAM);
    Bytes der;
    Botan::DER_Encoder(der)
        .start_cons(Botan::SEQUENCE)
        .raw_bytes(info)
        .encode(algorithm)
        .encode(signature, Botan::BIT_STRING)
        .end_cons();
    return der;
}

} // namespace host::x509
