#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

// Writes DER, and what only looks like it.

namespace der {

using Octets = std::vector<std::uint8_t>;

inline Octets join(std::initializer_list<Octets> parts) {
    Octets all;
    for (const Octets& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

inline Octets length(std::size_t size) {
    if (size < 0x80) {
        return {static_cast<std::uint8_t>(size)};
    }
    if (size < 0x100) {
        return {0x81, static_cast<std::uint8_t>(size)};
    }
    return {0x82, static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size)};
}

inline Octets element(std::uint8_t tag, const Octets& content) {
    return join({{tag}, length(content.size()), content});
}

/// `content` as it stands, sign byte and all.
inline Octets integer(const Octets& content) {
    return element(0x02, content);
}

inline Octets sequence(std::initializer_list<Octets> parts) {
    return element(0x30, join(parts));
}

inline const Octets kRsaIdentifier = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01};
inline const Octets kNull = {0x05, 0x00};

/// The parts of a private key file, each replaceable. As they stand they are the key with the primes 61 and 53, whose
/// modulus 3233 = 0x0CA1 has a clear top bit and so no sign byte.
struct Parts {
    Octets infoVersion = integer({0x00});
    Octets algorithm = sequence({kRsaIdentifier, kNull});
    Octets behindKey;

    Octets keyVersion = integer({0x00});
    Octets modulus = integer({0x0C, 0xA1});
    Octets publicExponent = integer({0x11});
    Octets privateExponent = integer({0x0A, 0xC1});
    Octets prime1 = integer({0x3D});
    Octets prime2 = integer({0x35});
    Octets exponent1 = integer({0x35});
    Octets exponent2 = integer({0x31});
    Octets coefficient = integer({0x26});
    Octets behindCoefficient;

    [[nodiscard]] Octets rsaPrivateKey() const {
        return sequence({keyVersion, modulus, publicExponent, privateExponent, prime1, prime2, exponent1, exponent2,
                         coefficient, behindCoefficient});
    }
    [[nodiscard]] Octets wrap(const Octets& octetString) const {
        return sequence({infoVersion, algorithm, octetString, behindKey});
    }
    [[nodiscard]] Octets file() const { return wrap(element(0x04, rsaPrivateKey())); }
};

} // namespace der
