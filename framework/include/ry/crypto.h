#pragma once

#include <cstddef>
#include <cstdint>

#include "zel/BaseDLLInterface.h"
#include "zel/TString.h"

// The key parser: reads a private key and returns its numbers. Create returns an object, or null on failure; the caller
// owns it and releases it with `destroy`. Nothing here throws.

namespace Ry {

class RY_CRYPTO_API IAlgorithmParameters : public Zel::BaseDLLInterface {
public:
    [[nodiscard]] static IAlgorithmParameters* Create() noexcept;

protected:
    ~IAlgorithmParameters() = default;
};

class RY_CRYPTO_API IAlgorithm : public Zel::BaseDLLInterface {
public:
    /// `name` "RSA" (any case); anything else gives null. `parameters` stays the caller's and may be null.
    [[nodiscard]] static IAlgorithm* CreateFromFriendlyName(const wchar_t* name,
                                                            IAlgorithmParameters* parameters) noexcept;

protected:
    ~IAlgorithm() = default;
};

/// Which number of an RSA private key.
enum class RsaComponent : std::uint32_t {
    Prime1,
    Prime2,
    Exponent1,
    Exponent2,
    Coefficient,
    Modulus,
    PublicExponent,
    PrivateExponent,
};

class RY_CRYPTO_API IKey : public Zel::BaseDLLInterface {
public:
    /// Reads a key of `algorithm` from `bytes`. `format` "PKCS8" (compared exactly): one DER PrivateKeyInfo,
    /// unencrypted, version 0 or 1, rsaEncryption with NULL or absent parameters, around a two-prime RSAPrivateKey;
    /// shortest forms, no trailing bytes. Attributes are allowed and ignored, and so is the public key of version 1.
    /// Null when anything is different, when an argument is null, when the modulus is zero, or when a number has more
    /// than 16384 bits. Create does not check that the numbers make a working key. An RSA private key is an
    /// IPrivateKey. The key has its own copies of the numbers and wipes them at its end; the caller keeps algorithm and
    /// bytes.
    [[nodiscard]] static IKey* Create(IAlgorithm* algorithm, const wchar_t* format, const std::uint8_t* bytes,
                                      std::size_t length) noexcept;

protected:
    ~IKey() = default;
};

class RY_CRYPTO_API IPrivateKey : public IKey {
public:
    /// Length in bytes of one number, without sign byte. A number of value 0 is one byte. 0 when there is no
    /// such component.
    [[nodiscard]] virtual std::size_t componentLength(RsaComponent component) const noexcept = 0;
    /// Copies one number, least significant byte first, into `bytes`, which has room for `room` bytes. Returns false
    /// and writes nothing when `room` is smaller than componentLength, `bytes` is null, or there is no such component.
    [[nodiscard]] virtual bool copyComponent(RsaComponent component, std::uint8_t* bytes,
                                             std::size_t room) const noexcept = 0;

protected:
    ~IPrivateKey() = default;
};

} // namespace Ry
