#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "ry/crypto.h"

// Any bytes as a private key: refused, or every number can be had, and only where there is room for it.

namespace {

constexpr std::uint32_t kComponentCount = 8;
constexpr std::size_t kMostComponentBytes = 2048;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void copyEveryComponent(const Ry::IPrivateKey& key) {
    for (std::uint32_t i = 0; i < kComponentCount; ++i) {
        const auto which = static_cast<Ry::RsaComponent>(i);
        const std::size_t length = key.componentLength(which);
        require(length > 0 && length <= kMostComponentBytes);
        std::vector<std::uint8_t> exact(length);
        require(key.copyComponent(which, exact.data(), length));
        // Least significant byte first: the last byte is zero only where the number is.
        require(exact.back() != 0 || length == 1);
        std::vector<std::uint8_t> tooShort(length - 1);
        require(!key.copyComponent(which, tooShort.data(), tooShort.size()));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Ry::IAlgorithmParameters* const parameters = Ry::IAlgorithmParameters::Create();
    Ry::IAlgorithm* const algorithm = Ry::IAlgorithm::CreateFromFriendlyName(L"RSA", parameters);
    require(parameters != nullptr && algorithm != nullptr);
    auto* const key = static_cast<Ry::IPrivateKey*>(Ry::IKey::Create(algorithm, L"PKCS8", data, size));
    if (key != nullptr) {
        copyEveryComponent(*key);
        key->destroy();
    }
    algorithm->destroy();
    parameters->destroy();
    return 0;
}
