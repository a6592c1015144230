#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ry/crypto.h"
#include "tests/unit/crypto/Der.h"

// Reads keys as a user of the parser does.

struct Destroy {
    void operator()(Zel::BaseDLLInterface* object) const { object->destroy(); }
};

template <class T>
using Owned = std::unique_ptr<T, Destroy>;

using OwnedKey = Owned<Ry::IPrivateKey>;

inline Owned<Ry::IAlgorithm> rsaAlgorithm() {
    const Owned<Ry::IAlgorithmParameters> parameters(Ry::IAlgorithmParameters::Create());
    return Owned<Ry::IAlgorithm>(Ry::IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
}

/// Null when the parser refuses. The bytes lie in a block of exactly their size, so that a sanitizer sees every byte
/// that is read past them.
inline OwnedKey readKey(const der::Octets& file) {
    const auto algorithm = rsaAlgorithm();
    const auto exact = std::make_unique<std::uint8_t[]>(file.size());
    std::copy(file.begin(), file.end(), exact.get());
    return OwnedKey(
        static_cast<Ry::IPrivateKey*>(Ry::IKey::Create(algorithm.get(), L"PKCS8", exact.get(), file.size())));
}

inline der::Octets component(const Ry::IPrivateKey& key, Ry::RsaComponent which) {
    der::Octets bytes(key.componentLength(which));
    return key.copyComponent(which, bytes.data(), bytes.size()) ? bytes : der::Octets();
}

inline der::Octets fromHexadecimal(const std::string& text) {
    der::Octets bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}
