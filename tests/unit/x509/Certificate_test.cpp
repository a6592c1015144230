#include "host/x509/Certificate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/x509/Pem.h"
#include "tests/unit/x509/Reading.h"
#include "tests/unit/x509/Vectors.h"

using host::x509::Certificate;
using host::x509::usageNames;
using host::x509::viewOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using tests::errorOf;
using tests::hexadecimal;
using tests::kName;

namespace {

Certificate readOne(std::string_view file) {
    return Certificate::read(viewOf(file), kName);
}

std::string derOf(std::string_view pem) {
    const host::x509::Bytes der = readOne(pem).der;
    return {der.begin(), der.end()};
}

} // namespace

TEST(CertificateFile, isTakenApart) {
    for (const std::string& file : {std::string(vectors::kCertificate), derOf(vectors::kCertificate)}) {
        const Certificate certificate = readOne(file);
        EXPECT_EQ(certificate.subjectText, "CN=J\xC3\xBCrgen \\+1,O=Ex/a\\, b,C=DE");
        EXPECT_EQ(certificate.issuerText, certificate.subjectText);
        EXPECT_EQ(certificate.serialText, "80FF01");
        EXPECT_EQ(certificate.notBefore, "2026-11-22T05:08:00Z");
        EXPECT_EQ(certificate.notAfter, "2036-11-19T05:08:00Z");
        EXPECT_FALSE(certificate.isAuthority);
        EXPECT_THAT(usageNames(certificate.usage), ElementsAre("digitalSignature", "keyEncipherment"));
        ASSERT_TRUE(certificate.publicKey.has_value());
        EXPECT_EQ(hexadecimal(certificate.publicKey->identifier()), "7961399B25D16987EBD281D895DD776CE6D5AD2C");
        EXPECT_EQ(certificate.pem(), vectors::kCertificate);
    }
}

// As the attributes of a token's certificate object have them.
TEST(CertificateFile, givesItsNamesAndSerialNumberInDer) {
    const Certificate certificate = readOne(vectors::kCertificate);
    EXPECT_EQ(hexadecimal(certificate.serial), "02040080FF01");
    EXPECT_EQ(hexadecimal(certificate.subject), "3034310B30090603550406130244453110300E060355040A0C0745782F612C20"
                                                "623113301106035504030C0A4AC3BC7267656E202B31");
    EXPECT_EQ(certificate.issuer, certificate.subject);
}

TEST(CertificateFile, ofAnAuthorityMayHaveAnotherKindOfKey) {
    const Certificate certificate = readOne(vectors::kAuthority);
    EXPECT_TRUE(certificate.isAuthority);
    EXPECT_FALSE(certificate.publicKey.has_value());
    EXPECT_EQ(certificate.subjectText, "CN=Root,OU=Trust,O=Example");
    EXPECT_EQ(hexadecimal(certificate.serial), "020107");
    EXPECT_THAT(usageNames(certificate.usage), ElementsAre("keyCertSign", "cRLSign"));
}

TEST(CertificateFile, mayHoldSeveral) {
    const std::string chain =
        std::string(vectors::kCertificate) + std::string(vectors::kPkcs8) + std::string(vectors::kAuthority);
    const std::vector<Certificate> certificates = Certificate::readAll(viewOf(chain), kName);
    ASSERT_EQ(certificates.size(), 2U);
    EXPECT_EQ(certificates[1].subjectText, "CN=Root,OU=Trust,O=Example");
}

TEST(CertificateFile, refusesOtherFiles) {
    const auto refusal = [](std::string_view file) { return errorOf([&] { return readOne(file); }); };
    EXPECT_EQ(refusal(vectors::kPkcs8), "file \"x\": no \"CERTIFICATE\" is in this PEM file");
    EXPECT_THAT(refusal(""), StartsWith("file \"x\": not a certificate in PEM or DER ("));
    EXPECT_THAT(refusal("hello"), StartsWith("file \"x\": not a certificate in PEM or DER ("));
    EXPECT_THAT(refusal("-----BEGIN CERTIFICATE-----\n****\n-----END CERTIFICATE-----\n"), HasSubstr("no Base64"));
    EXPECT_THAT(refusal("-----BEGIN CERTIFICATE"), HasSubstr("not complete"));
    EXPECT_THAT(refusal(derOf(vectors::kCertificate) + "\n"), HasSubstr("something follows the certificate"));
}

TEST(CertificateFile, refusesEachTruncatedOne) {
    const std::string der = derOf(vectors::kCertificate);
    for (std::size_t length = 0; length < der.size(); ++length) {
        EXPECT_NE(errorOf([&] { return readOne(der.substr(0, length)); }), "no error") << length;
    }
}
