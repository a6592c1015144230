#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "tests/unit/crypto/Der.h"
#include "tests/unit/crypto/KeyReader.h"
#include "tests/unit/crypto/OpenSslKeys.h"

// Every test changes one thing of a file that is accepted as it stands.

namespace {

using der::Octets;

using Number = Octets der::Parts::*;
constexpr Number kNumbers[] = {
    &der::Parts::modulus, &der::Parts::publicExponent, &der::Parts::privateExponent, &der::Parts::prime1,
    &der::Parts::prime2,  &der::Parts::exponent1,      &der::Parts::exponent2,       &der::Parts::coefficient,
};

void expectEachNumberRefused(const Octets& encoded) {
    ASSERT_TRUE(readKey(der::Parts().file()));
    for (const Number number : kNumbers) {
        der::Parts parts;
        parts.*number = encoded;
        EXPECT_FALSE(readKey(parts.file())) << "number " << (&number - kNumbers);
    }
}

TEST(Pkcs8Refused, otherKinds) {
    const der::Parts parts;
    EXPECT_FALSE(readKey({}));
    EXPECT_FALSE(readKey(parts.rsaPrivateKey())) << "bare PKCS#1";
    const Octets numbers = der::sequence({parts.modulus, parts.publicExponent});
    EXPECT_FALSE(readKey(der::sequence({parts.algorithm, der::element(0x03, der::join({{0x00}, numbers}))})))
        << "public key";
    EXPECT_FALSE(readKey(numbers)) << "bare public key";
}

// Made with `openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256`; used nowhere else.
TEST(Pkcs8Refused, ellipticKey) {
    EXPECT_FALSE(readKey(fromHexadecimal(
        "308187020100301306072A8648CE3D020106082A8648CE3D030107046D306B0201010420A3E02221F49BBFCEB52AACF2BA581BA1"
        "85653FC80E5BF91AD78D7E953D0F1089A144034200047BDAF4E72C12325E53B08E90C3AC62E0E502663F42A42E72CAC5FFA88565"
        "86F702013D824433C9A13D29C06F621FCC26717BF0048AED66FBD200A6F1045568BA")));
}

TEST(Pkcs8Refused, encryptedKey) {
    // The frame of an encrypted key, which has no version, around octets that would be right in another.
    const Octets pbes2 = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x05, 0x0D};
    const Octets key = der::element(0x04, der::Parts().rsaPrivateKey());
    EXPECT_FALSE(readKey(der::sequence({der::sequence({pbes2, der::sequence({})}), key})));
    EXPECT_FALSE(readKey(der::sequence({der::sequence({der::kRsaIdentifier, der::kNull}), key})));
}

TEST(Pkcs8Refused, otherAlgorithm) {
    der::Parts parts;
    const Octets pss = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x0A};
    const Octets shorter = {0x06, 0x08, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01};
    const Octets longer = {0x06, 0x0A, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01, 0x01};
    for (const Octets& identifier : {pss, shorter, longer}) {
        parts.algorithm = der::sequence({identifier, der::kNull});
        EXPECT_FALSE(readKey(parts.file())) << testing::PrintToString(identifier);
    }
    parts.algorithm = der::sequence({});
    EXPECT_FALSE(readKey(parts.file())) << "none";
}

TEST(Pkcs8Refused, otherAlgorithmParameters) {
    der::Parts parts;
    parts.algorithm = der::sequence({der::kRsaIdentifier, {0x05, 0x01, 0x00}});
    EXPECT_FALSE(readKey(parts.file())) << "NULL with content";
    parts.algorithm = der::sequence({der::kRsaIdentifier, der::sequence({})});
    EXPECT_FALSE(readKey(parts.file())) << "not NULL";
    parts.algorithm = der::sequence({der::kRsaIdentifier, der::kNull, der::kNull});
    EXPECT_FALSE(readKey(parts.file())) << "two";
}

TEST(Pkcs8Refused, otherVersions) {
    for (const Octets& version : {Octets{0x02}, Octets{0x7F}, Octets{0xFF}, Octets{0x01, 0x00}, Octets{0x00, 0x80},
                                  Octets{0x00, 0x00}, Octets{0x00, 0x01}, Octets{}}) {
        der::Parts parts;
        parts.infoVersion = der::integer(version);
        EXPECT_FALSE(readKey(parts.file())) << testing::PrintToString(version);
        parts = der::Parts();
        parts.keyVersion = der::integer(version);
        EXPECT_FALSE(readKey(parts.file())) << testing::PrintToString(version);
    }
}

TEST(Pkcs8Refused, multiPrimeKey) {
    der::Parts parts;
    parts.keyVersion = der::integer({0x01});
    EXPECT_FALSE(readKey(parts.file())) << "version alone";
    parts.behindCoefficient =
        der::sequence({der::sequence({der::integer({0x3B}), der::integer({0x01}), der::integer({0x02})})});
    EXPECT_FALSE(readKey(parts.file())) << "version and primes";
    parts.keyVersion = der::integer({0x00});
    EXPECT_FALSE(readKey(parts.file())) << "primes alone";
}

TEST(Pkcs8Refused, zeroModulus) {
    der::Parts parts;
    parts.modulus = der::integer({0x00});
    EXPECT_FALSE(readKey(parts.file()));
}

TEST(Pkcs8Refused, badNumbers) {
    expectEachNumberRefused({});
    expectEachNumberRefused(der::integer({}));
    expectEachNumberRefused(der::integer({0x80}));
    expectEachNumberRefused(der::integer({0xFF, 0x01}));
    expectEachNumberRefused(der::integer({0x00, 0x7F}));
    expectEachNumberRefused(der::integer({0x00, 0x00}));
    expectEachNumberRefused(der::integer({0x00, 0x00, 0x80}));
    expectEachNumberRefused(der::element(0x04, {0x11}));
    expectEachNumberRefused(der::join({der::integer({0x11}), der::kNull}));
    expectEachNumberRefused(der::integer(Octets(2049, 0x01)));
}

TEST(Pkcs8Refused, badLengths) {
    expectEachNumberRefused({0x02, 0x81, 0x01, 0x11});
    expectEachNumberRefused({0x02, 0x82, 0x00, 0x01, 0x11});
    expectEachNumberRefused({0x02, 0x80, 0x11, 0x00, 0x00});
    expectEachNumberRefused({0x02, 0xFF, 0x11});
    expectEachNumberRefused({0x02, 0x84, 0xFF, 0xFF, 0xFF, 0xFF});
    expectEachNumberRefused({0x02, 0x85, 0x00, 0x00, 0x00, 0x00, 0x01, 0x11});
    expectEachNumberRefused({0x02, 0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    expectEachNumberRefused({0x02});
    expectEachNumberRefused({0x1F, 0x02, 0x01, 0x11});
    expectEachNumberRefused(der::join({{0x02, 0x82, 0x00, 0xFF}, Octets(0xFF, 0x11)}));
}

TEST(Pkcs8Refused, badLengthsOfTheFrame) {
    const der::Parts parts;
    const Octets key = parts.rsaPrivateKey();
    const auto keySize = static_cast<std::uint8_t>(key.size());
    const Octets body = der::join({parts.infoVersion, parts.algorithm, der::element(0x04, key)});
    const auto bodySize = static_cast<std::uint8_t>(body.size());
    ASSERT_LT(body.size(), 0x80U);
    ASSERT_TRUE(readKey(der::join({{0x30, bodySize}, body})));
    EXPECT_FALSE(readKey(der::join({{0x30, 0x81, bodySize}, body}))) << "long form";
    EXPECT_FALSE(readKey(der::join({{0x30, 0x82, 0x00, bodySize}, body}))) << "longer form";
    EXPECT_FALSE(readKey(der::join({{0x30, 0x80}, body, {0x00, 0x00}}))) << "indefinite";
    EXPECT_FALSE(readKey(parts.wrap(der::join({{0x04, 0x81, keySize}, key})))) << "long form inside";
    EXPECT_FALSE(readKey(parts.wrap(der::join({{0x24, 0x80}, der::element(0x04, key), {0x00, 0x00}}))))
        << "constructed octet string";
}

TEST(Pkcs8Refused, trailingBytes) {
    const der::Parts good;
    EXPECT_FALSE(readKey(der::join({good.file(), {0x00}}))) << "behind the file";
    EXPECT_FALSE(readKey(der::join({good.file(), good.file()}))) << "two files";
    EXPECT_FALSE(readKey(good.wrap(der::element(0x04, der::join({good.rsaPrivateKey(), {0x00}})))))
        << "inside the octet string";
    der::Parts parts;
    parts.behindCoefficient = {0x00};
    EXPECT_FALSE(readKey(parts.file())) << "behind the last number";
    parts = der::Parts();
    parts.behindKey = der::kNull;
    EXPECT_FALSE(readKey(parts.file())) << "behind the octet string";
    parts.behindKey = der::join({der::element(0xA0, {}), der::element(0xA0, {})});
    EXPECT_FALSE(readKey(parts.file())) << "attributes twice";
    parts.behindKey = {0xA0, 0x01};
    EXPECT_FALSE(readKey(parts.file())) << "attributes cut off";
}

TEST(Pkcs8Refused, publicKeyWhereItMayNotStand) {
    const Octets publicKey = der::element(0x81, {0x00, 0x30, 0x00});
    der::Parts parts;
    parts.behindKey = publicKey;
    EXPECT_FALSE(readKey(parts.file())) << "version 0";
    parts.infoVersion = der::integer({0x01});
    EXPECT_TRUE(readKey(parts.file()));
    parts.behindKey = der::join({publicKey, der::element(0xA0, {})});
    EXPECT_FALSE(readKey(parts.file())) << "before the attributes";
    parts.behindKey = der::join({publicKey, publicKey});
    EXPECT_FALSE(readKey(parts.file())) << "twice";
    parts.behindKey = der::element(0x81, {});
    EXPECT_FALSE(readKey(parts.file())) << "without the count of unused bits";
    parts.behindKey = der::element(0x81, {0x01, 0x30, 0x00});
    EXPECT_FALSE(readKey(parts.file())) << "with unused bits";
    parts.behindKey = {0x81, 0x03, 0x00};
    EXPECT_FALSE(readKey(parts.file())) << "cut off";
}

TEST(Pkcs8Refused, missingParts) {
    der::Parts parts;
    EXPECT_FALSE(readKey(parts.wrap({}))) << "no key";
    EXPECT_FALSE(readKey(parts.wrap(der::element(0x04, {})))) << "empty key";
    EXPECT_FALSE(readKey(parts.wrap(der::element(0x03, parts.rsaPrivateKey())))) << "not an octet string";
    parts.algorithm = {};
    EXPECT_FALSE(readKey(parts.file())) << "no algorithm";
    parts = der::Parts();
    parts.infoVersion = {};
    EXPECT_FALSE(readKey(parts.file())) << "no version";
    parts = der::Parts();
    parts.keyVersion = {};
    EXPECT_FALSE(readKey(parts.file())) << "no version of the key";
}

/// Every value of every byte before `end`; the changes (position, value) that still make a key.
std::set<std::pair<std::size_t, int>> acceptedChanges(const Octets& file, std::size_t end) {
    std::set<std::pair<std::size_t, int>> accepted;
    for (std::size_t at = 0; at < end; ++at) {
        for (int value = 0; value < 0x100; ++value) {
            Octets changed = file;
            changed[at] = static_cast<std::uint8_t>(value);
            if (changed != file && readKey(changed)) {
                accepted.emplace(at, value);
            }
        }
    }
    return accepted;
}

TEST(Pkcs8Refused, everyChangeOfTheHeadButTheVersion) {
    // Up to the tag and length of the modulus: only the version of the wrapping, 0, may become 1.
    const std::set<std::pair<std::size_t, int>> onlyVersionOne = {{6, 1}};
    EXPECT_EQ(acceptedChanges(fromHexadecimal(kRsa2048Exponent65537.pkcs8), 37), onlyVersionOne);
}

TEST(Pkcs8Refused, everyChangeOfASmallKeyIsHarmless) {
    const Octets file = der::Parts().file();
    const auto accepted = acceptedChanges(file, file.size());
    EXPECT_TRUE(accepted.contains({file.size() - 1, 0x7F}));
    EXPECT_FALSE(accepted.contains({file.size() - 1, 0x80}));
}

} // namespace
