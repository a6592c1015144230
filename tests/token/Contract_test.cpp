// What every token that can be written to has to do with us.
#include "tests/token/TokenTest.h"

#include <gmock/gmock.h>

namespace Token {
namespace {

using ::testing::HasSubstr;

class Contract : public TokenTest {};

TEST_P(Contract, theTokenHasItsLabelAndSerialNumber) {
    const Result chosen = succeeds("getPlatformIdentifiers", Params().hex("READERNAME", reader));
    EXPECT_EQ(chosen.value("SMOTYPE"), "50313147454E45524943");
    // What follows the label's own bytes in the field is a blank and a zero byte, at which the value ends.
    EXPECT_EQ(chosen.value("LABEL"), hex("Card "));
    const std::string seen = tool("--list-slots");
    const std::string serial = unhex(chosen.value("SMOID").value_or(""));
    EXPECT_THAT(seen, HasSubstr("serial num         : " + serial.substr(0, serial.find_last_not_of(' ') + 1) + "\n"));
    EXPECT_THAT(seen, HasSubstr("token label        : Card "));
}

TEST_P(Contract, aGeneratedKeyPairIsSeenAndItsSignatureVerified) {
    for (const std::string bits : {"1024", "2048"}) {
        const std::string id = bits == "1024" ? "10" : "20";
        const Result generated = succeeds("generateKeyPair", Params()
                                                                 .plain("ALGOID", kRsa)
                                                                 .plain("KEYSIZE", bits)
                                                                 .base64("PUBLICEXPONENT", "AQAB")
                                                                 .hex("ID", id)
                                                                 .hex("LABEL", hex("key " + bits))
                                                                 .plain("SIGN", "1")
                                                                 .plain("VERIFY", "1")
                                                                 .plain("SENSITIVE", "1")
                                                                 .plain("EXTRACTABLE", "0"));
        ASSERT_EQ(generated.outputs.size(), 2U);
        const std::string modulus = bytesOf(generated, "MODULUS");
        EXPECT_EQ(std::to_string(modulus.size() * 8), bits);
        makePublicKey(modulus, unhex("010001"), "mine.pem");
        signs(id, "mine.pem");
    }
    EXPECT_EQ(objects(), (std::multiset<std::string>{"Private Key key 1024", "Private Key key 2048",
                                                     "Public Key key 1024", "Public Key key 2048"}));
}

TEST_P(Contract, aCertificateComesBackByteForByte) {
    const std::string der = makeCertificate("Holder");
    succeeds("writeData", certificate(der, "mine", "A1B2"));
    const Result read = succeeds("readData", Params().plain("OBJ_TYPE", "CERTIFICATE").hex("ID", "A1B2"));
    EXPECT_EQ(read.value("COUNT"), "1");
    EXPECT_EQ(hex(bytesOf(read, "DATA1")), hex(der));
    const std::string seen = tool("--list-objects --type cert --token-label Card");
    EXPECT_THAT(seen, HasSubstr("mine"));
    EXPECT_THAT(seen, HasSubstr("a1b2"));
    (void)tool("--read-object --type cert --id a1b2 --token-label Card --output-file seen.der");
    EXPECT_EQ(hex(folder.read("seen.der")), hex(der));
}

TEST_P(Contract, elevenCertificatesAreCountedInHexadecimal) {
    const std::string der = makeCertificate("Holder");
    for (int i = 1; i <= 11; ++i) {
        succeeds("writeData", certificate(der, "certificate " + std::to_string(i), "01"));
    }
    const Result read = succeeds("readData", Params().plain("OBJ_TYPE", "CERTIFICATE"));
    EXPECT_EQ(read.value("COUNT"), "b");
    EXPECT_EQ(read.outputs.size(), 13U);
    EXPECT_EQ(read.outputs.back().id, "DATA11");
    EXPECT_EQ(objects().size(), 11U);
}

TEST_P(Contract, namingAContainer) {
    succeeds("generateKeyPair",
             Params().plain("ALGOID", kRsa).plain("KEYSIZE", "1024").base64("PUBLICEXPONENT", "AQAB").hex("ID", "01"));
    const Params name = Params().plain("OBJ_TYPE", "CONTAINER_NAME").hex("CONTAINER_NAME", hex("box"));
    answers(GetParam().containerName, "writeData", Params(name).hex("KEYID", "01"));
    answers("80f3", "writeData", Params(name).hex("KEYID", "02"));
}

TEST_P(Contract, aSearchThatWasLeftOpen) {
    answers("80f3", "signData", Params().plain("ALGOID", kRsa).hex("KEYID", "01").bytes("DATA", "0102"));
    answers(GetParam().searchBehindOpenSearch, "readData", Params().plain("OBJ_TYPE", "CERTIFICATE"));
    startAfresh();
    EXPECT_EQ(succeeds("readData", Params().plain("OBJ_TYPE", "CERTIFICATE")).value("COUNT"), "0");
}

TEST_P(Contract, aCertificateWithoutSubject) {
    Params params = Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509");
    answers(GetParam().noSubject, "writeData", params.bytes("DATA", hex(makeCertificate("Holder"))));
    EXPECT_EQ(static_cast<int>(objects().size()), GetParam().leftWithoutSubject);
}

TEST_P(Contract, aCertificateWithCategory) {
    const Params params = certificate(makeCertificate("Holder"), "mine", "01").plain("CERT_CATEGORY", "USER");
    answers(GetParam().category, "writeData", params);
    const Params wanted = Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_CATEGORY", "USER");
    EXPECT_EQ(succeeds("readData", wanted).value("COUNT"), std::string(GetParam().category) == "0" ? "1" : "0");
}

TEST_P(Contract, aPrivateCertificateIsSeenByTheUserAlone) {
    succeeds("writeData", certificate(makeCertificate("Holder"), "mine", "01").plain("PRIVATE", "1"));
    const Params wanted = Params().plain("OBJ_TYPE", "CERTIFICATE");
    EXPECT_EQ(succeeds("readData", wanted).value("COUNT"), "0");
    login(kUserPin);
    EXPECT_EQ(succeeds("readData", wanted).value("COUNT"), "1");
    succeeds("deauthenticate");
    EXPECT_EQ(succeeds("readData", wanted).value("COUNT"), "0");
}

// The logout that ends a login of the script's own hides the token's answer; without a login of its own it does not.
TEST_P(Contract, dataThatIsTooLongToSign) {
    succeeds("writeData", keyPair(1024, 65537, "mine", "01"));
    const Params params = Params().plain("ALGOID", kRsa).hex("KEYID", "01").bytes("DATA", std::string(2 * 128, '1'));
    EXPECT_EQ(succeeds("signData", params).value("SIGNEDDATA"), std::nullopt);
    login(kUserPin);
    answers(GetParam().dataTooLong, "signData", params);
}

INSTANTIATE_TEST_SUITE_P(Tokens, Contract, ::testing::ValuesIn(kinds()), kindName);

} // namespace
} // namespace Token
