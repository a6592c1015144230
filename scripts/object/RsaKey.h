#pragma once

#include <array>

#include "token/AttributeTemplate.h"
#include "util/Trace.h"
#include "zel/TString.h"

namespace plugin {

/// The numbers of an RSA private key, most significant byte first as Cryptoki wants them.
struct RsaKey {
    /// In the order of kAttributes.
    std::array<SecretBuffer, 8> components;
    /// Length of the modulus in bits, a multiple of 8; 0 without a key.
    CK_ULONG sizeInBits = 0;

    static constexpr std::array<CK_ATTRIBUTE_TYPE, 8> kAttributes{
        CKA_PRIME_1,     CKA_PRIME_2, CKA_EXPONENT_1,      CKA_EXPONENT_2,
        CKA_COEFFICIENT, CKA_MODULUS, CKA_PUBLIC_EXPONENT, CKA_PRIVATE_EXPONENT,
    };
    [[nodiscard]] const SecretBuffer& modulus() const { return components[5]; }
    [[nodiscard]] const SecretBuffer& publicExponent() const { return components[6]; }
};

/// Reads a Base64 PKCS#8 structure. Returns a key of size 0, with a level-1 trace line, when it cannot be read.
[[nodiscard]] RsaKey getRSAKeyComponentFromTString(const Zel::TString& keyValue);

} // namespace plugin
