#include "framework/crypto-parser/Pkcs8.h"

#include <algorithm>
#include <cstdint>

namespace Ry {

namespace {

constexpr std::array<std::uint8_t, 9> kRsaEncryption = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01};

constexpr std::array<RsaComponent, kComponentCount> kOrderInFile = {
    RsaComponent::Modulus, RsaComponent::PublicExponent, RsaComponent::PrivateExponent, RsaComponent::Prime1,
    RsaComponent::Prime2,  RsaComponent::Exponent1,      RsaComponent::Exponent2,       RsaComponent::Coefficient,
};

/// The content of the one element that makes up all of `bytes`.
std::optional<Bytes> readOnlyElement(Bytes bytes, DerTag tag) noexcept {
    DerReader reader(bytes);
    const auto content = reader.read(tag);
    return reader.isAtEnd() ? content : std::nullopt;
}

/// A version number; nullopt when it is above `last`.
std::optional<std::uint8_t> readVersion(DerReader& reader, std::uint8_t last) noexcept {
    const auto version = reader.readUnsigned();
    if (!version || version->size() != 1 || version->front() > last) {
        return std::nullopt;
    }
    return version->front();
}

bool isRsaEncryption(Bytes algorithm) noexcept {
    DerReader reader(algorithm);
    const auto identifier = reader.read(DerTag::ObjectIdentifier);
    if (!identifier || !std::ranges::equal(*identifier, kRsaEncryption)) {
        return false;
    }
    if (reader.isAtEnd()) {
        return true;
    }
    const auto parameters = reader.read(DerTag::Null);
    return parameters && parameters->empty() && reader.isAtEnd();
}

/// Returns true when nothing but attributes, and with version 1 a public key, follows the private key.
bool hasAllowedEnd(DerReader& reader, std::uint8_t version) noexcept {
    if (reader.isNext(DerTag::Context0) && !reader.read(DerTag::Context0)) {
        return false;
    }
    if (version == 1 && reader.isNext(DerTag::Context1Primitive)) {
        const auto publicKey = reader.read(DerTag::Context1Primitive);
        // A BIT STRING of whole bytes: an encoded key has no unused bits.
        if (!publicKey || publicKey->empty() || publicKey->front() != 0) {
            return false;
        }
    }
    return reader.isAtEnd();
}

/// The bytes of the RSAPrivateKey that a PrivateKeyInfo wraps.
std::optional<Bytes> unwrap(Bytes bytes) noexcept {
    const auto info = readOnlyElement(bytes, DerTag::Sequence);
    if (!info) {
        return std::nullopt;
    }
    DerReader reader(*info);
    const auto version = readVersion(reader, 1);
    if (!version) {
        return std::nullopt;
    }
    const auto algorithm = reader.read(DerTag::Sequence);
    if (!algorithm || !isRsaEncryption(*algorithm)) {
        return std::nullopt;
    }
    const auto key = reader.read(DerTag::OctetString);
    return hasAllowedEnd(reader, *version) ? key : std::nullopt;
}

std::optional<RsaComponents> readRsaPrivateKey(Bytes bytes) noexcept {
    const auto key = readOnlyElement(bytes, DerTag::Sequence);
    if (!key) {
        return std::nullopt;
    }
    DerReader reader(*key);
    if (!readVersion(reader, 0)) {
        return std::nullopt;
    }
    RsaComponents components;
    for (const RsaComponent component : kOrderInFile) {
        const auto number = reader.readUnsigned();
        if (!number || number->size() > kMostComponentBytes) {
            return std::nullopt;
        }
        components[placeOf(component)] = *number;
    }
    // Numbers are in their shortest form, so that only zero begins with a zero byte.
    if (components[placeOf(RsaComponent::Modulus)].front() == 0 || !reader.isAtEnd()) {
        return std::nullopt;
    }
    return components;
}

} // namespace

std::optional<RsaComponents> readPkcs8RsaKey(Bytes bytes) noexcept {
    const auto key = unwrap(bytes);
    return key ? readRsaPrivateKey(*key) : std::nullopt;
}

} // namespace Ry
