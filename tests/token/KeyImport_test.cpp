// Keys that OpenSSL made, on the token.
#include "tests/token/TokenTest.h"

namespace Token {
namespace {

class KeyImport : public TokenTest {
protected:
    /// One key of OpenSSL's: its public half comes back as OpenSSL has it, and what it signs OpenSSL verifies.
    void importedKeyWorks(int bits, int exponent) {
        SCOPED_TRACE(std::to_string(bits) + " bits, exponent " + std::to_string(exponent));
        succeeds("writeData", keyPair(bits, exponent, "imported", "01"));
        EXPECT_EQ(objects(), (std::multiset<std::string>{"Private Key imported", "Public Key imported"}));
        const Result read = succeeds("readData", Params().plain("OBJ_TYPE", "KEY_PAIR").hex("ID", "01"));
        EXPECT_EQ(read.value("COUNT"), "1");
        EXPECT_EQ(hex(bytesOf(read, "PUBLICEXPONENT1")), exponent == 3 ? "03" : "010001");
        EXPECT_EQ("Modulus=" + hex(bytesOf(read, "MODULUS1")) + "\n", modulusOf(publicKey(bits, exponent)));
        signs("01", publicKey(bits, exponent));
        succeeds("removeData", Params().plain("OBJ_TYPE", "KEY_PAIR").hex("ID", "01"));
        EXPECT_EQ(objects(), std::multiset<std::string>());
    }

    [[nodiscard]] std::string modulusOf(const std::string& pem) const {
        return folder.run("openssl rsa -pubin -noout -modulus -in " + pem);
    }

    [[nodiscard]] static std::string publicKey(int bits, int exponent) {
        std::string file = keyFile(bits, exponent);
        return file.replace(file.size() - 3, 3, ".pem");
    }
};

// The top bit of these moduli is set, so that their DER has a leading zero byte.
TEST_P(KeyImport, wholeBytes) {
    for (const int bits : {1024, 2048, 3072, 4096}) {
        importedKeyWorks(bits, 3);
        importedKeyWorks(bits, 65537);
    }
}

// The top bit of these is clear: no leading zero byte.
TEST_P(KeyImport, noWholeBytes) {
    importedKeyWorks(1023, 65537);
    importedKeyWorks(2047, 3);
    importedKeyWorks(2047, 65537);
}

TEST_P(KeyImport, aSecondImportLeavesThePublicKeyAlone) {
    succeeds("writeData", keyPair(1024, 3, "first", "01"));
    succeeds("writeData", keyPair(1024, 65537, "second", "01"));
    EXPECT_EQ(objects(), (std::multiset<std::string>{"Private Key first", "Private Key second", "Public Key first"}));
    const Result read = succeeds("readData", Params().plain("OBJ_TYPE", "KEY_PAIR"));
    EXPECT_EQ(read.value("COUNT"), "1");
    EXPECT_EQ(hex(bytesOf(read, "PUBLICEXPONENT1")), "03");
}

TEST_P(KeyImport, aPrivateKeyAlone) {
    Params params = Params().plain("OBJ_TYPE", "PRIVATE_KEY").plain("ALGOID", kRsa);
    params.plain("KEYENCODING", "PKCS8.encrypted").bytes("KEYVALUE", hex(keyBytes(1024, 65537)));
    succeeds("writeData", params.hex("ID", "01").hex("LABEL", hex("alone")).plain("SIGN", "1"));
    EXPECT_EQ(objects(), std::multiset<std::string>{"Private Key alone"});
    signs("01", publicKey(1024, 65537));
}

TEST_P(KeyImport, withoutAnIdBothHalvesAreMadeEachTime) {
    Params params = Params().plain("OBJ_TYPE", "KEY_PAIR").plain("ALGOID", kRsa);
    params.plain("KEYENCODING", "PKCS8.clear").bytes("KEYVALUE", hex(keyBytes(1024, 3))).hex("LABEL", hex("no id"));
    succeeds("writeData", params);
    succeeds("writeData", params);
    EXPECT_EQ(objects(), (std::multiset<std::string>{"Private Key no id", "Private Key no id", "Public Key no id",
                                                     "Public Key no id"}));
}

TEST_P(KeyImport, whatIsNoKeyLeavesNothingOnTheToken) {
    const std::string key = keyBytes(1024, 3);
    Params params = Params().plain("OBJ_TYPE", "KEY_PAIR").plain("ALGOID", kRsa).plain("KEYENCODING", "PKCS8.clear");
    answers("80ec", "writeData", Params(params).bytes("KEYVALUE", hex(key.substr(0, key.size() - 1))));
    answers("80ec", "writeData", Params(params).bytes("KEYVALUE", hex(key + '\0')));
    answers("80ec", "writeData", params);
    EXPECT_EQ(objects(), std::multiset<std::string>());
}

INSTANTIATE_TEST_SUITE_P(Tokens, KeyImport, ::testing::ValuesIn(kinds()), kindName);

} // namespace
} // namespace Token
