#include <gtest/gtest.h>

#include "tests/unit/crypto/Der.h"
#include "tests/unit/crypto/KeyReader.h"
#include "tests/unit/crypto/OpenSslKeys.h"

namespace {

using der::Octets;
using Ry::RsaComponent;

Octets reversed(Octets bytes) {
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

class OpenSslKeyTest : public testing::TestWithParam<const OpenSslKey*> {};

TEST_P(OpenSslKeyTest, componentsAreThoseThatOpenSslPrints) {
    const OpenSslKey& expected = *GetParam();
    const auto key = readKey(fromHexadecimal(expected.pkcs8));
    ASSERT_TRUE(key);
    const auto bigEndian = [&](RsaComponent which) { return reversed(component(*key, which)); };
    EXPECT_EQ(bigEndian(RsaComponent::Modulus), fromHexadecimal(expected.modulus));
    EXPECT_EQ(bigEndian(RsaComponent::PublicExponent), fromHexadecimal(expected.publicExponent));
    EXPECT_EQ(bigEndian(RsaComponent::PrivateExponent), fromHexadecimal(expected.privateExponent));
    EXPECT_EQ(bigEndian(RsaComponent::Prime1), fromHexadecimal(expected.prime1));
    EXPECT_EQ(bigEndian(RsaComponent::Prime2), fromHexadecimal(expected.prime2));
    EXPECT_EQ(bigEndian(RsaComponent::Exponent1), fromHexadecimal(expected.exponent1));
    EXPECT_EQ(bigEndian(RsaComponent::Exponent2), fromHexadecimal(expected.exponent2));
    EXPECT_EQ(bigEndian(RsaComponent::Coefficient), fromHexadecimal(expected.coefficient));
}

TEST_P(OpenSslKeyTest, noPrefixOfAKeyIsAKey) {
    const Octets file = fromHexadecimal(GetParam()->pkcs8);
    for (std::size_t length = 0; length < file.size(); ++length) {
        EXPECT_FALSE(readKey(Octets(file.begin(), file.begin() + length))) << length;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, OpenSslKeyTest, testing::ValuesIn(kOpenSslKeys),
                         [](const auto& parameter) { return std::string(parameter.param->name); });

TEST(Pkcs8Accepted, modulusLengthDoesNotCountTheSignByte) {
    EXPECT_EQ(readKey(fromHexadecimal(kRsa1024Exponent3.pkcs8))->componentLength(RsaComponent::Modulus), 128U);
    EXPECT_EQ(readKey(fromHexadecimal(kRsa2048Exponent65537.pkcs8))->componentLength(RsaComponent::Modulus), 256U);
    EXPECT_EQ(readKey(fromHexadecimal(kRsa3072Exponent3.pkcs8))->componentLength(RsaComponent::Modulus), 384U);
    EXPECT_EQ(readKey(fromHexadecimal(kRsa4096Exponent65537.pkcs8))->componentLength(RsaComponent::Modulus), 512U);
}

TEST(Pkcs8Accepted, numbersWithClearTopBitComeLeastSignificantByteFirst) {
    const auto key = readKey(der::Parts().file());
    ASSERT_TRUE(key);
    EXPECT_EQ(component(*key, RsaComponent::Modulus), (Octets{0xA1, 0x0C}));
    EXPECT_EQ(component(*key, RsaComponent::PublicExponent), (Octets{0x11}));
    EXPECT_EQ(component(*key, RsaComponent::PrivateExponent), (Octets{0xC1, 0x0A}));
    EXPECT_EQ(component(*key, RsaComponent::Prime1), (Octets{0x3D}));
    EXPECT_EQ(component(*key, RsaComponent::Prime2), (Octets{0x35}));
    EXPECT_EQ(component(*key, RsaComponent::Exponent1), (Octets{0x35}));
    EXPECT_EQ(component(*key, RsaComponent::Exponent2), (Octets{0x31}));
    EXPECT_EQ(component(*key, RsaComponent::Coefficient), (Octets{0x26}));
}

TEST(Pkcs8Accepted, signByteIsTakenOffAndOnlyThat) {
    der::Parts parts;
    parts.modulus = der::integer({0x00, 0x80, 0x00});
    const auto key = readKey(parts.file());
    ASSERT_TRUE(key);
    EXPECT_EQ(component(*key, RsaComponent::Modulus), (Octets{0x00, 0x80}));
}

TEST(Pkcs8Accepted, zeroIsOneByte) {
    der::Parts parts;
    parts.coefficient = der::integer({0x00});
    const auto key = readKey(parts.file());
    ASSERT_TRUE(key);
    EXPECT_EQ(component(*key, RsaComponent::Coefficient), (Octets{0x00}));
}

TEST(Pkcs8Accepted, absentAlgorithmParameters) {
    der::Parts parts;
    parts.algorithm = der::sequence({der::kRsaIdentifier});
    EXPECT_TRUE(readKey(parts.file()));
}

TEST(Pkcs8Accepted, attributes) {
    der::Parts parts;
    // friendlyName "A"
    const Octets attribute = der::sequence({{0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x14},
                                            der::element(0x31, der::element(0x1E, {0x00, 0x41}))});
    parts.behindKey = der::element(0xA0, attribute);
    EXPECT_TRUE(readKey(parts.file()));
    parts.behindKey = der::element(0xA0, der::join({attribute, attribute}));
    EXPECT_TRUE(readKey(parts.file()));
    parts.behindKey = der::element(0xA0, {});
    EXPECT_TRUE(readKey(parts.file()));
}

TEST(Pkcs8Accepted, versionOneWithAndWithoutPublicKey) {
    der::Parts parts;
    parts.infoVersion = der::integer({0x01});
    EXPECT_TRUE(readKey(parts.file()));
    const Octets publicKey =
        der::element(0x81, der::join({{0x00}, der::sequence({parts.modulus, parts.publicExponent})}));
    parts.behindKey = publicKey;
    EXPECT_TRUE(readKey(parts.file()));
    parts.behindKey = der::join({der::element(0xA0, {}), publicKey});
    EXPECT_TRUE(readKey(parts.file()));
}

TEST(Pkcs8Accepted, modulusOf16384BitsIsTheLargest) {
    der::Parts parts;
    Octets modulus(2049, 0xFF);
    modulus.front() = 0x00;
    parts.modulus = der::integer(modulus);
    const auto key = readKey(parts.file());
    ASSERT_TRUE(key);
    EXPECT_EQ(component(*key, RsaComponent::Modulus), Octets(2048, 0xFF));
    modulus.assign(2049, 0x01);
    parts.modulus = der::integer(modulus);
    EXPECT_FALSE(readKey(parts.file()));
}

} // namespace
