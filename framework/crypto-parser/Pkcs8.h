#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "framework/crypto-parser/DerReader.h"
#include "ry/crypto.h"

namespace Ry {

constexpr std::size_t kComponentCount = 8;
/// No number of a key may be longer: 16384 bits.
constexpr std::size_t kMostComponentBytes = 2048;

/// The numbers of an RSA private key, big-endian without sign byte, at the places that RsaComponent gives them. They
/// point into the bytes that were read.
using RsaComponents = std::array<Bytes, kComponentCount>;

constexpr std::size_t placeOf(RsaComponent component) noexcept {
    return static_cast<std::size_t>(component);
}

/// Takes a DER PrivateKeyInfo with a two-prime RSA key apart. Nothing when it is anything else, or not strictly DER;
/// only what the attributes contain is not looked at. Does not check that the numbers make a working key, except that
/// the modulus is not zero. Makes no copies.
[[nodiscard]] std::optional<RsaComponents> readPkcs8RsaKey(Bytes bytes) noexcept;

} // namespace Ry
