#include "scripts/object/RsaKey.h"

#include <algorithm>

#include "ry/crypto.h"
#include "util/Conversions.h"
#include "util/Owned.h"

namespace plugin {

namespace {

constexpr std::array kComponents{
    Ry::RsaComponent::Prime1,         Ry::RsaComponent::Prime2,          Ry::RsaComponent::Exponent1,
    Ry::RsaComponent::Exponent2,      Ry::RsaComponent::Coefficient,     Ry::RsaComponent::Modulus,
    Ry::RsaComponent::PublicExponent, Ry::RsaComponent::PrivateExponent,
};

Owned<Ry::IKey> parse(const SecretBuffer& bytes) {
    const Owned<Ry::IAlgorithmParameters> parameters(Ry::IAlgorithmParameters::Create());
    const Owned<Ry::IAlgorithm> algorithm(Ry::IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
    return Owned<Ry::IKey>(Ry::IKey::Create(algorithm.get(), L"PKCS8", bytes.data(), bytes.size()));
}

/// The parser returns numbers least significant byte first.
SecretBuffer component(const Ry::IPrivateKey& key, Ry::RsaComponent which) {
    SecretBuffer bytes(key.componentLength(which));
    if (!key.copyComponent(which, bytes.data(), bytes.size())) {
        return {};
    }
    std::reverse(bytes.data(), bytes.data() + bytes.size());
    return bytes;
}

} // namespace

RsaKey getRSAKeyComponentFromTString(const Zel::TString& keyValue) {
    const Trace trace(L"getRSAKeyComponentFromTString");
    RsaKey key;
    const SecretBuffer bytes = TStringB642Binary(keyValue);
    if (bytes.isEmpty()) {
        trace.failure(L" : TStringB642Binary pKeyValue is NULL or nKeyValueLength=0: failed");
        return key;
    }
    const Owned<Ry::IKey> parsed = parse(bytes);
    if (parsed == nullptr) {
        trace.failure(L" : pPrivateKeyPKCS8 is null ( (IPrivateKey *)IKey::Create) ");
        return key;
    }
    const auto& privateKey = static_cast<const Ry::IPrivateKey&>(*parsed);
    std::transform(kComponents.begin(), kComponents.end(), key.components.begin(),
                   [&privateKey](Ry::RsaComponent which) { return component(privateKey, which); });
    key.sizeInBits = static_cast<CK_ULONG>(key.modulus().size() * 8);
    return key;
}

} // namespace plugin
