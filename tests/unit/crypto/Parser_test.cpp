#include <gtest/gtest.h>

#include <algorithm>

#include "framework/crypto-parser/RsaPrivateKey.h"
#include "tests/unit/crypto/Der.h"
#include "tests/unit/crypto/KeyReader.h"
#include "tests/unit/crypto/OpenSslKeys.h"
#include "zel/Allocator.h"

namespace {

using der::Octets;
using Ry::IAlgorithm;
using Ry::IKey;
using Ry::RsaComponent;

bool isAlgorithm(const wchar_t* name) {
    return Owned<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(name, nullptr)) != nullptr;
}

TEST(Algorithm, onlyRsaInAnyCase) {
    EXPECT_TRUE(isAlgorithm(L"RSA"));
    EXPECT_TRUE(isAlgorithm(L"rsa"));
    EXPECT_TRUE(isAlgorithm(L"rSa"));
    for (const wchar_t* name : {L"", L"R", L"RS", L"RSA ", L" RSA", L"RSAES", L"DSA", L"EC", L"1.2.840.113549.1.1.1"}) {
        EXPECT_FALSE(isAlgorithm(name));
    }
    EXPECT_FALSE(isAlgorithm(nullptr));
}

TEST(Algorithm, parametersStayTheCallers) {
    const Owned<Ry::IAlgorithmParameters> parameters(Ry::IAlgorithmParameters::Create());
    ASSERT_TRUE(parameters);
    Owned<IAlgorithm> first(IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get()));
    EXPECT_TRUE(first);
    first.reset();
    EXPECT_TRUE(Owned<IAlgorithm>(IAlgorithm::CreateFromFriendlyName(L"RSA", parameters.get())));
}

TEST(Key, formatIsComparedExactly) {
    const Octets file = der::Parts().file();
    const auto algorithm = rsaAlgorithm();
    const auto isKey = [&](const wchar_t* format) {
        return Owned<IKey>(IKey::Create(algorithm.get(), format, file.data(), file.size())) != nullptr;
    };
    EXPECT_TRUE(isKey(L"PKCS8"));
    for (const wchar_t* format : {L"PKCS1", L"pkcs8", L"PKCS8 ", L"PKCS", L"PKCS8.clear", L""}) {
        EXPECT_FALSE(isKey(format));
    }
    EXPECT_FALSE(isKey(nullptr));
}

TEST(Key, nullArguments) {
    const Octets file = der::Parts().file();
    const auto algorithm = rsaAlgorithm();
    EXPECT_EQ(IKey::Create(nullptr, L"PKCS8", file.data(), file.size()), nullptr);
    EXPECT_EQ(IKey::Create(algorithm.get(), L"PKCS8", nullptr, file.size()), nullptr);
    EXPECT_EQ(IKey::Create(algorithm.get(), L"PKCS8", nullptr, 0), nullptr);
    EXPECT_EQ(IKey::Create(algorithm.get(), L"PKCS8", file.data(), 0), nullptr);
}

TEST(Key, outlivesItsBytesAndItsAlgorithm) {
    Octets file = der::Parts().file();
    const auto key = readKey(file);
    std::fill(file.begin(), file.end(), std::uint8_t{0});
    EXPECT_EQ(component(*key, RsaComponent::Modulus), (Octets{0xA1, 0x0C}));
}

TEST(Components, nothingIsWrittenWhereThereIsNoRoom) {
    const auto key = readKey(der::Parts().file());
    Octets bytes(2, 0xEE);
    EXPECT_FALSE(key->copyComponent(RsaComponent::Modulus, bytes.data(), 1));
    EXPECT_FALSE(key->copyComponent(RsaComponent::Modulus, bytes.data(), 0));
    EXPECT_EQ(bytes, Octets(2, 0xEE));
    EXPECT_FALSE(key->copyComponent(RsaComponent::Modulus, nullptr, 2));
}

TEST(Components, roomThatIsLeftOverStaysAsItIs) {
    const auto key = readKey(der::Parts().file());
    Octets bytes(4, 0xEE);
    EXPECT_TRUE(key->copyComponent(RsaComponent::Modulus, bytes.data(), bytes.size()));
    EXPECT_EQ(bytes, (Octets{0xA1, 0x0C, 0xEE, 0xEE}));
}

TEST(Components, unknownComponentHasNoBytes) {
    const auto key = readKey(der::Parts().file());
    Octets bytes(4, 0xEE);
    for (const auto which : {static_cast<RsaComponent>(8), static_cast<RsaComponent>(0xFFFFFFFF)}) {
        EXPECT_EQ(key->componentLength(which), 0U);
        EXPECT_FALSE(key->copyComponent(which, bytes.data(), bytes.size()));
    }
    EXPECT_EQ(bytes, Octets(4, 0xEE));
}

bool holds(const void* object, const Octets& needle) {
    const auto* begin = static_cast<const std::uint8_t*>(object);
    const auto* end = begin + sizeof(Ry::RsaPrivateKey);
    return std::search(begin, end, needle.begin(), needle.end()) != end;
}

TEST(Wiping, noNumberIsLeftInTheMemoryOfAKeyThatIsGone) {
    Ry::IPrivateKey* const key = readKey(fromHexadecimal(kRsa1024Exponent3.pkcs8)).release();
    std::vector<Octets> numbers;
    for (std::uint32_t i = 0; i < Ry::kComponentCount; ++i) {
        const auto which = static_cast<RsaComponent>(i);
        if (which != RsaComponent::PublicExponent) { // too short to be told from chance
            numbers.push_back(component(*key, which));
        }
    }
    for (const Octets& number : numbers) {
        EXPECT_TRUE(holds(key, number));
    }
    // Ends the object but keeps its storage, so that it can be looked at.
    void* const storage = key->deletingDestructor(0);
    for (const Octets& number : numbers) {
        EXPECT_FALSE(holds(storage, number));
        EXPECT_FALSE(holds(storage, Octets(number.begin(), number.begin() + 8)));
        EXPECT_FALSE(holds(storage, Octets(number.end() - 8, number.end())));
    }
    Zel::release(storage);
}

} // namespace
