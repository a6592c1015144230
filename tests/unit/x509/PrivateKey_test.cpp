#include "host/x509/PrivateKey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/x509/Pem.h"
#include "tests/unit/x509/Reading.h"
#include "tests/unit/x509/Vectors.h"
#include "text/Base64.h"

using host::x509::PrivateKey;
using host::x509::viewOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using tests::errorOf;
using tests::kName;
using tests::noPassphrase;
using tests::passphrase;

namespace {

// SHA-1 of the DER RSAPublicKey, from `openssl rsa -RSAPublicKey_out -outform DER | openssl sha1`.
constexpr const char* kIdentifier = "7961399B25D16987EBD281D895DD776CE6D5AD2C";

PrivateKey readPlain(std::string_view file) {
    return PrivateKey::read(viewOf(file), kName, noPassphrase());
}

std::string bytesOfPem(std::string_view pem) {
    const std::vector<host::x509::PemBlock> blocks = host::x509::readPem(viewOf(pem), kName);
    const std::span<const std::uint8_t> der = blocks.front().bytes.bytes();
    return {der.begin(), der.end()};
}

std::string bytesOf(const SecretBuffer& buffer) {
    return {buffer.bytes().begin(), buffer.bytes().end()};
}

std::string refusal(std::string_view file) {
    return errorOf([&] { return readPlain(file); });
}

} // namespace

TEST(PrivateKeyFile, isTakenInEachForm) {
    const std::string pkcs8 = bytesOfPem(vectors::kPkcs8);
    const std::string pkcs1 = bytesOfPem(vectors::kPkcs1);
    for (const std::string_view file :
         {vectors::kPkcs8, vectors::kPkcs1, std::string_view(pkcs8), std::string_view(pkcs1)}) {
        const PrivateKey key = readPlain(file);
        EXPECT_EQ(tests::hexadecimal(key.publicKey.identifier()), kIdentifier);
        EXPECT_EQ(bytesOf(key.pkcs8), pkcs8);
    }
}

TEST(PrivateKeyFile, isDecrypted) {
    const std::string der = bytesOfPem(vectors::kEncrypted);
    for (const std::string_view file : {vectors::kEncrypted, vectors::kScrypt, std::string_view(der)}) {
        const PrivateKey key = PrivateKey::read(viewOf(file), kName, passphrase("geheim"));
        EXPECT_EQ(bytesOf(key.pkcs8), bytesOfPem(vectors::kPkcs8));
    }
}

TEST(PrivateKeyFile, isFoundAmongOtherText) {
    const std::string file = "\xEF\xBB\xBF"
                             "Bag Attributes\r\n" +
                             std::string(vectors::kCertificate) + "Key Attributes: <none>\n" +
                             std::string(vectors::kPkcs8);
    EXPECT_EQ(tests::hexadecimal(readPlain(file).publicKey.identifier()), kIdentifier);
}

TEST(PrivateKeyFile, refusesAWrongPassphrase) {
    EXPECT_EQ(errorOf([] { return PrivateKey::read(viewOf(vectors::kEncrypted), kName, passphrase("gehein")); }),
              "file \"x\": the passphrase does not open this key, or the file is damaged");
}

TEST(PrivateKeyFile, namesTheWayOutOfWhatItDoesNotTake) {
    const std::wstring digits(vectors::kPkcs12.begin(), vectors::kPkcs12.end());
    EXPECT_EQ(refusal(bytesOf(text::decodeBase64(digits))),
              "file \"x\": this is PKCS #12; take it apart with these two commands and give the two files:\n"
              "  openssl pkcs12 -in FILE.p12 -nocerts -out KEY.pem\n"
              "  openssl pkcs12 -in FILE.p12 -clcerts -nokeys -out CERTIFICATE.pem");
    EXPECT_THAT(refusal(vectors::kOldPem), HasSubstr("openssl pkcs8 -topk8 -in OLD.pem -out NEW.pem"));
    EXPECT_THAT(refusal(vectors::kPbes1), HasSubstr("openssl pkcs8 -topk8 -in OLD.pem -out NEW.pem"));
}

TEST(PrivateKeyFile, namesAnotherKindOfFile) {
    EXPECT_THAT(refusal(vectors::kEcKey), HasSubstr("not an RSA key, but of the algorithm ECDSA"));
    EXPECT_THAT(refusal(vectors::kEcOldKey), HasSubstr("\"EC PRIVATE KEY\" is not an RSA key"));
    EXPECT_EQ(refusal(vectors::kCertificate), "file \"x\": no \"PRIVATE KEY\" is in this PEM file");
    EXPECT_THAT(refusal(bytesOfPem(vectors::kCertificate)), StartsWith("file \"x\": not "));
    EXPECT_THAT(refusal(""), StartsWith("file \"x\": not a private key in PEM or DER ("));
}

TEST(PrivateKeyFile, refusesEachDamagedOne) {
    const std::string der = bytesOfPem(vectors::kPkcs8);
    for (std::size_t length = 0; length < der.size(); ++length) {
        EXPECT_NE(refusal(der.substr(0, length)), "no error") << length;
    }
    for (std::size_t i = 40; i < der.size(); ++i) { // the numbers
        std::string damaged = der;
        damaged[i] = static_cast<char>(damaged[i] ^ 4);
        EXPECT_NE(refusal(damaged), "no error") << i;
    }
    EXPECT_THAT(refusal(vectors::kPkcs8.substr(0, 500)), HasSubstr("\"-----END PRIVATE KEY-----\" is missing"));
}

TEST(PrivateKeyFile, refusesADerivationThatTakesHours) {
    std::string der = bytesOfPem(vectors::kEncrypted);
    const std::string rounds("\x02\x02\x08\x00", 4); // 2048
    const std::size_t place = der.find(rounds);
    ASSERT_NE(place, std::string::npos);
    const std::size_t salt = der.rfind("\x04\x08", place);
    ASSERT_NE(salt, std::string::npos);
    // Two bytes of the salt become two of the number: the lengths around it stay.
    der.replace(salt, place + rounds.size() - salt,
                std::string("\x04\x06"
                            "abcdef"
                            "\x02\x04\x7F\xFF\xFF\xFF",
                            14));
    EXPECT_THAT(errorOf([&] { return PrivateKey::read(viewOf(der), kName, noPassphrase()); }),
                HasSubstr("too much time or memory"));
}
