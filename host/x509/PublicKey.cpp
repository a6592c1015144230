#include "host/x509/PublicKey.h"

#include <algorithm>
#include <bit>

#include <botan/bigint.h>
#include <botan/der_enc.h>
#include <botan/pubkey.h>
#include <botan/rsa.h>

#include "host/x509/Algorithms.h"
#include "host/x509/Pem.h"

namespace host::x509 {

namespace {

constexpr std::size_t kFewestBits = 512;
constexpr std::size_t kMostBits = 16384;

Bytes withoutLeadingZeros(ByteView number) {
    return {std::find_if(number.begin(), number.end(), [](std::uint8_t byte) { return byte != 0; }), number.end()};
}

Botan::BigInt numberOf(const Bytes& bytes) {
    return Botan::BigInt(bytes.data(), bytes.size());
}

bool isOdd(const Bytes& number) noexcept {
    return !number.empty() && (number.back() & 1) != 0;
}

PublicKey fromPkcs1(ByteView der, const std::string& name) {
    Botan::BigInt modulus;
    Botan::BigInt exponent;
    Botan::BER_Decoder(der.data(), der.size())
        .start_cons(Botan::SEQUENCE)
        .decode(modulus)
        .decode(exponent)
        .end_cons()
        .verify_end();
    if (modulus.is_negative() || exponent.is_negative()) {
        throw UsageError(name + ": an RSA key has no negative numbers");
    }
    return {Botan::BigInt::encode(modulus), Botan::BigInt::encode(exponent), name};
}

PublicKey fromSubjectPublicKeyInfo(ByteView der, const std::string& name) {
    Botan::AlgorithmIdentifier algorithm;
    Bytes key;
    Botan::BER_Decoder(der.data(), der.size())
        .start_cons(Botan::SEQUENCE)
        .decode(algorithm)
        .decode(key, Botan::BIT_STRING)
        .end_cons()
        .verify_end();
    requireRsa(algorithm, name);
    return fromPkcs1(key, name);
}

/// Returns true for what begins as a PKCS #1 key does: with a number.
bool isPkcs1(ByteView der) {
    return Botan::BER_Decoder(der.data(), der.size())
        .start_cons(Botan::SEQUENCE)
        .get_next_object()
        .is_a(Botan::INTEGER, Botan::UNIVERSAL);
}

PublicKey fromPem(ByteView file, const std::string& name) {
    for (const PemBlock& block : readPem(file, name)) {
        if (block.label == "PUBLIC KEY") {
            return fromSubjectPublicKeyInfo(block.bytes.bytes(), name);
        }
        if (block.label == "RSA PUBLIC KEY") {
            return fromPkcs1(block.bytes.bytes(), name);
        }
    }
    throw UsageError(name + ": no \"PUBLIC KEY\" is in this PEM file");
}

} // namespace

PublicKey::PublicKey(ByteView modulus, ByteView exponent, const std::string& name)
    : m_modulus(withoutLeadingZeros(modulus)), m_exponent(withoutLeadingZeros(exponent)) {
    const bool hasExponent = isOdd(m_exponent) && (m_exponent.size() > 1 || m_exponent.front() >= 3);
    if (bits() < kFewestBits || bits() > kMostBits || !isOdd(m_modulus) || !hasExponent ||
        m_exponent.size() > m_modulus.size()) {
        throw UsageError(name + ": modulus and exponent are not those of an RSA key of " + std::to_string(kFewestBits) +
                         " to " + std::to_string(kMostBits) + " bits");
    }
}

PublicKey PublicKey::read(ByteView file, const std::string& name) {
    return readOrExplain(name, "not an RSA public key in PEM or DER", [&] {
        if (isPem(file)) {
            return fromPem(file, name);
        }
        return isPkcs1(file) ? fromPkcs1(file, name) : fromSubjectPublicKeyInfo(file, name);
    });
}

std::size_t PublicKey::bits() const noexcept {
    return m_modulus.empty() ? 0 : m_modulus.size() * 8 - static_cast<std::size_t>(std::countl_zero(m_modulus.front()));
}

Bytes PublicKey::pkcs1() const {
    Bytes der;
    Botan::DER_Encoder(der)
        .start_cons(Botan::SEQUENCE)
        .encode(numberOf(m_modulus))
        .encode(numberOf(m_exponent))
        .end_cons();
    return der;
}

Bytes PublicKey::der() const {
    Bytes der;
    Botan::DER_Encoder(der)
        .start_cons(Botan::SEQUENCE)
        .encode(rsaEncryption())
        .encode(pkcs1(), Botan::BIT_STRING)
        .end_cons();
    return der;
}

std::string PublicKey::pem() const {
    return writePem("PUBLIC KEY", der());
}

Bytes PublicKey::identifier() const {
    return digestOf(Hash::Sha1, pkcs1());
}

bool PublicKey::verify(Hash hash, ByteView digest, ByteView signature) const {
    try {
        const Botan::RSA_PublicKey key(numberOf(m_modulus), numberOf(m_exponent));
        Botan::PK_Verifier verifier(key, std::string("EMSA3(Raw,") + libraryName(hash) + ")");
        return verifier.verify_message(digest.data(), digest.size(), signature.data(), signature.size());
    } catch (const Botan::Exception&) {
        return false; // a signature longer than the modulus, a key too short for the hash
    }
}

} // namespace host::x509
