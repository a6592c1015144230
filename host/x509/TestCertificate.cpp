#include "host/x509/TestCertificate.h"

#include <chrono>

#include <botan/asn1_time.h>
#include <botan/bigint.h>
#include <botan/der_enc.h>

#include "host/x509/SignatureError.h"

namespace host::x509 {

Bytes testCertificate(const Bytes& subject, const Bytes& serial, const PublicKey& key, const SignDigestInfo& signer) {
    const Botan::AlgorithmIdentifier algorithm(Botan::OID("1.2.840.113549.1.1.11"), // sha256WithRSAEncryption
                                               Botan::AlgorithmIdentifier::USE_NULL_PARAM);
    const auto now = std::chrono::system_clock::now();
    Bytes signedPart;
    Botan::DER_Encoder(signedPart)
        .start_cons(Botan::SEQUENCE)
        .start_explicit(0)
        .encode(std::size_t{2}) // version 3
        .end_explicit()
        .encode(Botan::BigInt(serial.data(), serial.size()))
        .encode(algorithm)
        .raw_bytes(subject)
        .start_cons(Botan::SEQUENCE)
        .encode(Botan::X509_Time(now))
        .encode(Botan::X509_Time(now + std::chrono::hours(24)))
        .end_cons()
        .raw_bytes(subject)
        .raw_bytes(key.der())
        .end_cons();
    const Bytes digest = digestOf(Hash::Sha256, signedPart);
    const Bytes signature = signer(digestInfo(Hash::Sha256, digest));
    if (!key.verify(Hash::Sha256, digest, signature)) {
        throw SignatureError("the token's signature does not belong to its public key");
    }
    Bytes der;
    Botan::DER_Encoder(der)
        .start_cons(Botan::SEQUENCE)
        .raw_bytes(signedPart)
        .encode(algorithm)
        .encode(signature, Botan::BIT_STRING)
        .end_cons();
    return der;
}

} // namespace host::x509
