#include "bench/RawCalls.h"

#include <cstring>
#include <vector>

#include "bench/Module.h"

namespace bench {

namespace {

/// Every template takes its values by address, and the calls take them without const.
template <class T>
CK_ATTRIBUTE attribute(CK_ATTRIBUTE_TYPE type, T& value) {
    return {type, &value, sizeof value};
}

void askSession(const RawToken& token, int times) {
    for (int i = 0; i < times; ++i) {
        CK_SESSION_INFO info;
        require(token.functions.C_GetSessionInfo(token.session, &info), "C_GetSessionInfo");
    }
}

void initSearch(const RawToken& token, CK_ATTRIBUTE* searched, CK_ULONG count) {
    require(token.functions.C_FindObjectsInit(token.session, searched, count), "C_FindObjectsInit");
}

bool findNext(const RawToken& token, CK_OBJECT_HANDLE& object) {
    CK_ULONG count = 0;
    require(token.functions.C_FindObjects(token.session, &object, 1, &count), "C_FindObjects");
    return count == 1;
}

void endSearch(const RawToken& token) {
    require(token.functions.C_FindObjectsFinal(token.session), "C_FindObjectsFinal");
}

CK_OBJECT_HANDLE findKey(const RawToken& token) {
    CK_OBJECT_CLASS objectClass = CKO_PRIVATE_KEY;
    CK_BYTE id[] = {0x45, 0x01};
    CK_ATTRIBUTE searched[] = {attribute(CKA_CLASS, objectClass), attribute(CKA_ID, id)};
    initSearch(token, searched, 2);
    CK_OBJECT_HANDLE key = 0;
    require(findNext(token, key) ? CKR_OK : CKR_KEY_HANDLE_INVALID, "C_FindObjects");
    endSearch(token);
    return key;
}

void readValue(const RawToken& token, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    CK_ATTRIBUTE value{type, nullptr, 0};
    require(token.functions.C_GetAttributeValue(token.session, object, &value, 1), "C_GetAttributeValue");
    std::vector<CK_BYTE> bytes(value.ulValueLen);
    value.pValue = bytes.data();
    require(token.functions.C_GetAttributeValue(token.session, object, &value, 1), "C_GetAttributeValue");
}

} // namespace

void rawSign(const RawToken& token) {
    askSession(token, 2);
    const CK_OBJECT_HANDLE key = findKey(token);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    require(token.functions.C_SignInit(token.session, &mechanism, key), "C_SignInit");
    CK_BYTE data[51] = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                        0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
    CK_BYTE signature[512];
    CK_ULONG length = 0;
    require(token.functions.C_Sign(token.session, data, sizeof data, nullptr, &length), "C_Sign");
    length = sizeof signature;
    require(token.functions.C_Sign(token.session, data, sizeof data, signature, &length), "C_Sign");
}

void rawAuthenticateSignDeauthenticate(const RawToken& token, const char* pin) {
    CK_UTF8CHAR bytes[64];
    const CK_ULONG length = std::strlen(pin);
    std::memcpy(bytes, pin, length);
    askSession(token, 1);
    require(token.functions.C_Login(token.session, CKU_USER, bytes, length), "C_Login");
    rawSign(token);
    askSession(token, 1);
    require(token.functions.C_Logout(token.session), "C_Logout");
}

CK_ULONG rawReadCertificates(const RawToken& token) {
    askSession(token, 1);
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_ATTRIBUTE searched[] = {attribute(CKA_CLASS, objectClass)};
    initSearch(token, searched, 1);
    CK_ULONG count = 0;
    for (CK_OBJECT_HANDLE object = 0; findNext(token, object); ++count) {
        readValue(token, object, CKA_VALUE);
    }
    endSearch(token);
    return count;
}

void rawWriteCertificate(const RawToken& token, std::uint32_t number) {
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_CERTIFICATE_TYPE type = CKC_X_509;
    CK_BBOOL yes = CK_TRUE;
    CK_BBOOL no = CK_FALSE;
    std::vector<CK_BYTE> value(1024, 0x5A);
    CK_BYTE subject[] = {0x30, 0x0D, 0x31, 0x0B, 0x30, 0x09, 0x06, 0x03, 0x55, 0x04, 0x06, 0x13, 0x02, 0x44, 0x45};
    CK_BYTE id[] = {static_cast<CK_BYTE>(number >> 8U), static_cast<CK_BYTE>(number)};
    CK_ATTRIBUTE certificate[] = {
        attribute(CKA_CLASS, objectClass),
        attribute(CKA_TOKEN, yes),
        attribute(CKA_PRIVATE, no),
        attribute(CKA_CERTIFICATE_TYPE, type),
        {CKA_VALUE, value.data(), value.size()},
        attribute(CKA_SUBJECT, subject),
        attribute(CKA_ID, id),
    };
    askSession(token, 2);
    CK_OBJECT_HANDLE object = 0;
    require(token.functions.C_CreateObject(token.session, certificate, std::size(certificate), &object),
            "C_CreateObject");
}

CK_ULONG rawRemoveCertificates(const RawToken& token) {
    askSession(token, 2);
    CK_OBJECT_CLASS objectClass = CKO_CERTIFICATE;
    CK_ATTRIBUTE searched[] = {attribute(CKA_CLASS, objectClass)};
    initSearch(token, searched, 1);
    CK_ULONG count = 0;
    for (CK_OBJECT_HANDLE object = 0; findNext(token, object); ++count) {
        require(token.functions.C_DestroyObject(token.session, object), "C_DestroyObject");
    }
    endSearch(token);
    return count;
}

void rawGenerateKeyPair(const RawToken& token) {
    CK_BBOOL yes = CK_TRUE;
    CK_BBOOL no = CK_FALSE;
    CK_KEY_TYPE rsa = CKK_RSA;
    CK_ULONG bits = 1024;
    CK_BYTE exponent[] = {0x01, 0x00, 0x01};
    CK_BYTE id[] = {0x47, 0x01};
    CK_ATTRIBUTE publicKey[] = {attribute(CKA_TOKEN, yes),
                                attribute(CKA_PRIVATE, no),
                                attribute(CKA_KEY_TYPE, rsa),
                                attribute(CKA_MODULUS_BITS, bits),
                                attribute(CKA_PUBLIC_EXPONENT, exponent),
                                attribute(CKA_ID, id)};
    CK_ATTRIBUTE privateKey[] = {attribute(CKA_TOKEN, yes), attribute(CKA_PRIVATE, yes), attribute(CKA_KEY_TYPE, rsa),
                                 attribute(CKA_ID, id)};
    CK_MECHANISM mechanism{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    CK_OBJECT_HANDLE hPublic = 0;
    CK_OBJECT_HANDLE hPrivate = 0;
    askSession(token, 2);
    require(token.functions.C_GenerateKeyPair(token.session, &mechanism, publicKey, std::size(publicKey), privateKey,
                                              std::size(privateKey), &hPublic, &hPrivate),
            "C_GenerateKeyPair");
    readValue(token, hPublic, CKA_MODULUS);
}

} // namespace bench
