#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "framework/crypto-parser/DerReader.h"
#include "ry/crypto.h"

namespace Ry {

constexpr std::size_t kComponentCount = 8;
/// The longest number of a key that is accepted: 16384 bits.
constexpr std::size_t kMostComponentBytes = 2048;

/// The numbers of an RSA private key, big-endian without sign byte, at the places that RsaComponent gives them. They
/// point into the bytes that were read.
using RsaComponents = std::array<Bytes, kComponentCount>;

constexpr std::size_t placeOf(RsaComponent component) noexcept {
    return static_cast<std::size_t>(component);
}

/// Reads a DER PrivateKeyInfo with a two-prime RSA key. nullopt for anything else and for bytes that are not strict
/// DER; the content of attributes is ignored. Checks that the modulus is not zero, and not that the numbers make a
/// working key. Makes no copies.
[[nodiscard]] std::optional<RsaComponents> readPkcs8RsaKey(Bytes bytes) noexcept;

} // namespace Ry
