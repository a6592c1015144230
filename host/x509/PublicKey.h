#pragma once

#include <string>

#include "host/x509/Bytes.h"
#include "host/x509/Hash.h"

namespace host::x509 {

/// An RSA public key. Numbers are big-endian without leading zeros.
class PublicKey {
public:
    /// As a token or a certificate gives them; leading zeros are dropped. UsageError with `name` in front when they
    /// are no RSA key: a modulus of 512 to 16384 bits and an exponent of at least 3, both odd.
    PublicKey(ByteView modulus, ByteView exponent, const std::string& name);
    /// A SubjectPublicKeyInfo ("PUBLIC KEY" in PEM) or a PKCS #1 key ("RSA PUBLIC KEY"), in PEM or DER. UsageError
    /// when it is neither, or of another algorithm.
    [[nodiscard]] static PublicKey read(ByteView file, const std::string& name);

    [[nodiscard]] const Bytes& modulus() const noexcept { return m_modulus; }
    [[nodiscard]] const Bytes& exponent() const noexcept { return m_exponent; }
    /// Length of the modulus.
    [[nodiscard]] std::size_t bits() const noexcept;

    /// SubjectPublicKeyInfo.
    [[nodiscard]] Bytes der() const;
    [[nodiscard]] std::string pem() const;
    /// SHA-1 of the DER RSAPublicKey: 20 bytes, the subject key identifier that certificates carry by default.
    [[nodiscard]] Bytes identifier() const;

    /// Returns true when `signature` is that of PKCS #1 v1.5 over `digest`; false for anything else.
    [[nodiscard]] bool verify(Hash hash, ByteView digest, ByteView signature) const;

    bool operator==(const PublicKey& other) const = default;

private:
    /// RSAPublicKey of PKCS #1.
    [[nodiscard]] Bytes pkcs1() const;

    Bytes m_modulus;
    Bytes m_exponent;
};

} // namespace host::x509
