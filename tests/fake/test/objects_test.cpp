#include "tests/fake/test/FakeTest.h"

using Fake::Attributes;

namespace {

CK_ATTRIBUTE query(CK_ATTRIBUTE_TYPE type, void* value = nullptr, CK_ULONG length = 0) {
    CK_ATTRIBUTE entry;
    entry.type = type;
    entry.pValue = value;
    entry.ulValueLen = length;
    return entry;
}

constexpr CK_ULONG kUnavailable = CK_UNAVAILABLE_INFORMATION;

} // namespace

class FakeObjects : public FakeTest {
protected:
    void SetUp() override {
        FakeTest::SetUp();
        initialize();
    }
    std::vector<CK_OBJECT_HANDLE> find(CK_SESSION_HANDLE session, const Attributes& attributes) {
        std::vector<CK_ATTRIBUTE> list = attributes.list();
        EXPECT_EQ(p11->C_FindObjectsInit(session, list.data(), static_cast<CK_ULONG>(list.size())), CKR_OK);
        std::vector<CK_OBJECT_HANDLE> found(10);
        CK_ULONG count = 0;
        EXPECT_EQ(p11->C_FindObjects(session, found.data(), 10, &count), CKR_OK);
        EXPECT_EQ(p11->C_FindObjectsFinal(session), CKR_OK);
        found.resize(count);
        return found;
    }
};

TEST_F(FakeObjects, creationChecksTheTemplate) {
    const CK_SESSION_HANDLE session = openAsUser();
    EXPECT_EQ(create(session, Attributes().boolean(CKA_TOKEN, true)), CKR_TEMPLATE_INCOMPLETE);
    EXPECT_EQ(create(session, Attributes().number(CKA_CLASS, CKO_CERTIFICATE)), CKR_TEMPLATE_INCOMPLETE);
    EXPECT_EQ(create(session, Attributes().raw(CKA_CLASS, "\1")), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(create(session, certificate("01").boolean(CKA_TOKEN, true)), CKR_TEMPLATE_INCONSISTENT);
    EXPECT_EQ(p11->C_CreateObject(session, nullptr, 1, nullptr), CKR_ARGUMENTS_BAD);
    CK_OBJECT_HANDLE handle = 0;
    EXPECT_EQ(create(session, certificate("01"), &handle), CKR_OK);
    EXPECT_EQ(handle, 0x101U);
    EXPECT_EQ(fake.object(handle)->text(), "[CKA_CLASS=1 CKA_TOKEN=true CKA_CERTIFICATE_TYPE=0 CKA_VALUE=3082AABB "
                                           "CKA_ID=01 CKA_PRIVATE=false CKA_MODIFIABLE=true]");
    fake.setNextObjectHandle(0);
    EXPECT_EQ(create(session, certificate("02"), &handle), CKR_OK);
    EXPECT_EQ(handle, 0U);
}

TEST_F(FakeObjects, creationNeedsTheRightSession) {
    const CK_SESSION_HANDLE readOnly = open(CKF_SERIAL_SESSION);
    EXPECT_EQ(create(readOnly, certificate("01")), CKR_SESSION_READ_ONLY);
    EXPECT_EQ(create(readOnly, privateKey()), CKR_SESSION_READ_ONLY);
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(create(session, privateKey()), CKR_USER_NOT_LOGGED_IN);
    EXPECT_EQ(create(session, certificate("01").boolean(CKA_PRIVATE, true)), CKR_USER_NOT_LOGGED_IN);
    EXPECT_EQ(login(session, CKU_USER, "1234"), CKR_OK);
    EXPECT_EQ(create(session, privateKey()), CKR_OK);
}

TEST_F(FakeObjects, privateObjectsShowToTheUserAlone) {
    fake.addObject(privateKey().boolean(CKA_PRIVATE, true));
    const CK_OBJECT_HANDLE open1 = fake.addObject(certificate("01"));
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(find(session, Attributes()), (std::vector<CK_OBJECT_HANDLE>{open1}));
    EXPECT_EQ(p11->C_DestroyObject(session, 0x101), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(login(session, CKU_USER, "1234"), CKR_OK);
    EXPECT_EQ(find(session, Attributes()), (std::vector<CK_OBJECT_HANDLE>{0x101, 0x102}));
    EXPECT_EQ(find(session, Attributes().number(CKA_CLASS, CKO_PRIVATE_KEY).hex(CKA_ID, "01")),
              (std::vector<CK_OBJECT_HANDLE>{0x101}));
    EXPECT_EQ(find(session, Attributes().hex(CKA_ID, "0100")), (std::vector<CK_OBJECT_HANDLE>{}));
    EXPECT_EQ(p11->C_DestroyObject(session, 0x101), CKR_OK);
    EXPECT_EQ(fake.object(0x101), std::nullopt);
}

TEST_F(FakeObjects, sessionObjectsGoWithTheirSession) {
    const CK_SESSION_HANDLE session = open();
    const CK_SESSION_HANDLE other = open();
    EXPECT_EQ(create(session, Attributes()
                                  .number(CKA_CLASS, CKO_CERTIFICATE)
                                  .number(CKA_CERTIFICATE_TYPE, CKC_X_509)
                                  .hex(CKA_VALUE, "30")),
              CKR_OK);
    EXPECT_EQ(find(other, Attributes()).size(), 1U);
    EXPECT_EQ(p11->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(find(other, Attributes()).size(), 0U);
}

TEST_F(FakeObjects, searchesGoOneByOneAndStandOpenUntilFinished) {
    fake.addObject(certificate("01"));
    fake.addObject(certificate("02"));
    const CK_SESSION_HANDLE session = open();
    CK_OBJECT_HANDLE found = 0;
    CK_ULONG count = 9;
    EXPECT_EQ(p11->C_FindObjects(session, &found, 1, &count), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(p11->C_FindObjectsFinal(session), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(p11->C_FindObjectsInit(session, nullptr, 0), CKR_OK);
    EXPECT_EQ(p11->C_FindObjectsInit(session, nullptr, 0), CKR_OPERATION_ACTIVE);
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
    EXPECT_EQ(p11->C_FindObjects(session, &found, 1, &count), CKR_OK);
    EXPECT_EQ(found, 0x101U);
    EXPECT_EQ(p11->C_DestroyObject(session, 0x102), CKR_OK);
    EXPECT_EQ(p11->C_FindObjects(session, &found, 1, &count), CKR_OK);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(p11->C_FindObjectsFinal(session), CKR_OK);
}

TEST_F(FakeObjects, attributesAreReadInTwoPasses) {
    const CK_OBJECT_HANDLE handle = fake.addObject(certificate("0102"));
    const CK_SESSION_HANDLE session = open();
    CK_ATTRIBUTE entries[] = {query(CKA_VALUE), query(CKA_LABEL)};
    EXPECT_EQ(p11->C_GetAttributeValue(session, handle, entries, 1), CKR_OK);
    EXPECT_EQ(entries[0].ulValueLen, 4U);
    EXPECT_EQ(p11->C_GetAttributeValue(session, handle, entries, 2), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(entries[0].ulValueLen, 4U);
    EXPECT_EQ(entries[1].ulValueLen, kUnavailable);
    CK_BYTE value[4] = {};
    entries[0] = query(CKA_VALUE, value, 3);
    EXPECT_EQ(p11->C_GetAttributeValue(session, handle, entries, 1), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(entries[0].ulValueLen, kUnavailable);
    entries[0] = query(CKA_VALUE, value, 4);
    EXPECT_EQ(p11->C_GetAttributeValue(session, handle, entries, 1), CKR_OK);
    EXPECT_EQ(Fake::hex({reinterpret_cast<char*>(value), 4}), "3082AABB");
    EXPECT_EQ(p11->C_GetAttributeValue(session, 0x999, entries, 1), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(FakeObjects, secretComponentsAreSensitive) {
    const CK_OBJECT_HANDLE handle = fake.addObject(privateKey().boolean(CKA_SENSITIVE, true));
    const CK_SESSION_HANDLE session = open();
    CK_ATTRIBUTE entry = query(CKA_PRIVATE_EXPONENT);
    EXPECT_EQ(p11->C_GetAttributeValue(session, handle, &entry, 1), CKR_ATTRIBUTE_SENSITIVE);
    EXPECT_EQ(entry.ulValueLen, kUnavailable);
}

TEST_F(FakeObjects, attributesAreChangedWhereTheyMayBe) {
    const CK_OBJECT_HANDLE handle = fake.addObject(certificate("01"));
    const CK_OBJECT_HANDLE fixed = fake.addObject(certificate("02").boolean(CKA_MODIFIABLE, false));
    const CK_SESSION_HANDLE readOnly = open(CKF_SERIAL_SESSION);
    const CK_SESSION_HANDLE session = open();
    std::vector<CK_ATTRIBUTE> name = {query(CKA_VENDOR_DEFINED | 8, const_cast<char*>("abc"), 3)};
    EXPECT_EQ(p11->C_SetAttributeValue(readOnly, handle, name.data(), 1), CKR_SESSION_READ_ONLY);
    EXPECT_EQ(p11->C_SetAttributeValue(session, fixed, name.data(), 1), CKR_ATTRIBUTE_READ_ONLY);
    EXPECT_EQ(p11->C_SetAttributeValue(session, handle, name.data(), 1), CKR_OK);
    EXPECT_EQ(fake.object(handle)->hexOf(CKA_VENDOR_DEFINED | 8), "616263");
    const Attributes kind = Attributes().number(CKA_CLASS, CKO_DATA);
    std::vector<CK_ATTRIBUTE> list = kind.list();
    EXPECT_EQ(p11->C_SetAttributeValue(session, handle, list.data(), 1), CKR_ATTRIBUTE_READ_ONLY);
    EXPECT_EQ(fake.object(handle)->numberOf(CKA_CLASS), CKO_CERTIFICATE);
}
