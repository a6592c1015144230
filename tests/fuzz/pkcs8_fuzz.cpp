#include <vector>

#include "ry/crypto.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Targets.h"

// Any bytes as a private key: refused, or every number can be had, and only where there is room for it.

namespace {

constexpr std::uint32_t kComponentCount = 8;
constexpr std::size_t kMostComponentBytes = 2048;

using Fuzz::require;

void copyEveryComponent(const Ry::IPrivateKey& key) {
    for (std::uint32_t i = 0; i < kComponentCount; ++i) {
        const auto which = static_cast<Ry::RsaComponent>(i);
        const std::size_t length = key.componentLength(which);
        require(length > 0 && length <= kMostComponentBytes, "a number has a sensible length");
        std::vector<std::uint8_t> exact(length);
        require(key.copyComponent(which, exact.data(), length), "a number fits into its length");
        // Least significant byte first: the last byte is zero only where the number is.
        require(exact.back() != 0 || length == 1, "a number has no leading zeros");
        std::vector<std::uint8_t> tooShort(length - 1);
        require(!key.copyComponent(which, tooShort.data(), tooShort.size()), "too little room is refused");
    }
}

} // namespace

void Fuzz::pkcs8(const std::uint8_t* data, std::size_t size) {
    Ry::IAlgorithmParameters* const parameters = Ry::IAlgorithmParameters::Create();
    Ry::IAlgorithm* const algorithm = Ry::IAlgorithm::CreateFromFriendlyName(L"RSA", parameters);
    require(parameters != nullptr && algorithm != nullptr, "RSA is known");
    auto* const key = static_cast<Ry::IPrivateKey*>(Ry::IKey::Create(algorithm, L"PKCS8", data, size));
    if (key != nullptr) {
        copyEveryComponent(*key);
        key->destroy();
    }
    algorithm->destroy();
    parameters->destroy();
}
