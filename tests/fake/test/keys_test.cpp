#include "tests/fake/test/FakeTest.h"

using Fake::Attributes;

class FakeKeys : public FakeTest {
protected:
    void SetUp() override {
        FakeTest::SetUp();
        initialize();
    }
    CK_RV generate(CK_SESSION_HANDLE session, const Attributes& publicKey, const Attributes& privateKey) {
        CK_MECHANISM mechanism = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
        std::vector<CK_ATTRIBUTE> first = publicKey.list();
        std::vector<CK_ATTRIBUTE> second = privateKey.list();
        return p11->C_GenerateKeyPair(session, &mechanism, first.data(), static_cast<CK_ULONG>(first.size()),
                                      second.data(), static_cast<CK_ULONG>(second.size()), &publicHandle,
                                      &privateHandle);
    }
    CK_RV signInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type = CKM_RSA_PKCS) {
        CK_MECHANISM mechanism = {type, nullptr, 0};
        return p11->C_SignInit(session, &mechanism, key);
    }
    CK_OBJECT_HANDLE publicHandle = 0;
    CK_OBJECT_HANDLE privateHandle = 0;
};

TEST_F(FakeKeys, aPairHasACannedModulus) {
    const CK_SESSION_HANDLE session = openAsUser();
    const Attributes size = Attributes().boolean(CKA_TOKEN, true).number(CKA_MODULUS_BITS, 1024);
    ASSERT_EQ(generate(session, size, Attributes().boolean(CKA_TOKEN, true)), CKR_OK);
    std::string modulus;
    for (int i = 0; i < 128; ++i) {
        modulus += static_cast<char>(i);
    }
    modulus[0] = '\xC0';
    modulus[1] = '\x01';
    modulus[127] = '\x01';
    const Attributes publicKey = *fake.object(publicHandle);
    const Attributes privateKey = *fake.object(privateHandle);
    EXPECT_EQ(publicKey.hexOf(CKA_MODULUS), Fake::hex(modulus));
    EXPECT_EQ(privateKey.hexOf(CKA_MODULUS), Fake::hex(modulus));
    EXPECT_EQ(publicKey.hexOf(CKA_PUBLIC_EXPONENT), "010001");
    EXPECT_EQ(publicKey.numberOf(CKA_CLASS), CKO_PUBLIC_KEY);
    EXPECT_EQ(privateKey.numberOf(CKA_CLASS), CKO_PRIVATE_KEY);
    EXPECT_EQ(publicKey.booleanOf(CKA_PRIVATE), false);
    EXPECT_EQ(privateKey.booleanOf(CKA_PRIVATE), true);
    ASSERT_EQ(generate(session, size, Attributes()), CKR_OK);
    EXPECT_EQ(fake.object(publicHandle)->hexOf(CKA_MODULUS)->substr(0, 6), "C00202");
}

TEST_F(FakeKeys, generationChecksItsTemplates) {
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(generate(session, Attributes(), Attributes()), CKR_TEMPLATE_INCOMPLETE);
    EXPECT_EQ(generate(session, Attributes().number(CKA_MODULUS_BITS, 500), Attributes()), CKR_KEY_SIZE_RANGE);
    EXPECT_EQ(generate(session, Attributes().number(CKA_MODULUS_BITS, 1024), Attributes()), CKR_USER_NOT_LOGGED_IN);
    EXPECT_EQ(generate(session, Attributes().number(CKA_MODULUS_BITS, 1024).number(CKA_KEY_TYPE, CKK_EC), Attributes()),
              CKR_TEMPLATE_INCONSISTENT);
    EXPECT_TRUE(fake.objects().empty());
}

TEST_F(FakeKeys, aSignatureIsThePaddedBlock) {
    const CK_OBJECT_HANDLE key = fake.addObject(privateKey(16));
    const CK_SESSION_HANDLE session = open();
    std::string data = "\x01\x02";
    std::string signature(16, 'x');
    CK_ULONG length = 0;
    EXPECT_EQ(p11->C_Sign(session, bytes(data), 2, nullptr, &length), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(signInit(session, key), CKR_OK);
    EXPECT_EQ(signInit(session, key), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(p11->C_Sign(session, bytes(data), 2, nullptr, &length), CKR_OK);
    EXPECT_EQ(length, 16U);
    length = 15;
    EXPECT_EQ(p11->C_Sign(session, bytes(data), 2, bytes(signature), &length), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(length, 16U);
    EXPECT_EQ(p11->C_Sign(session, bytes(data), 2, bytes(signature), &length), CKR_OK);
    EXPECT_EQ(Fake::hex(signature), "0001FFFFFFFFFFFFFFFFFFFFFF00FEFD");
    EXPECT_FALSE(fake.sessions().at(0).signActive);
    ASSERT_EQ(signInit(session, key), CKR_OK);
    std::string longer(6, 'a');
    EXPECT_EQ(p11->C_Sign(session, bytes(longer), 6, bytes(signature), &length), CKR_DATA_LEN_RANGE);
    EXPECT_FALSE(fake.sessions().at(0).signActive);
}

TEST_F(FakeKeys, signingNeedsARightKey) {
    const CK_OBJECT_HANDLE noSign = fake.addObject(privateKey().boolean(CKA_SIGN, false));
    const CK_OBJECT_HANDLE cert = fake.addObject(certificate("01"));
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(signInit(session, 0x999), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(signInit(session, noSign), CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_EQ(signInit(session, cert), CKR_KEY_TYPE_INCONSISTENT);
    EXPECT_EQ(signInit(session, noSign, CKM_AES_ECB), CKR_MECHANISM_INVALID);
}
