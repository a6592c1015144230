#include "tests/fake/test/FakeTest.h"

using Fake::Attributes;
using Fake::Function;

class FakeCalls : public FakeTest {
protected:
    void SetUp() override {
        FakeTest::SetUp();
        initialize();
        fake.takeCalls();
    }
    std::string last() {
        const Strings lines = fake.takeCalls();
        return lines.empty() ? "" : lines.back();
    }
    std::string searchText(CK_ATTRIBUTE_TYPE type, void* value, CK_ULONG length) {
        CK_ATTRIBUTE entry;
        entry.type = type;
        entry.pValue = value;
        entry.ulValueLen = length;
        p11->C_FindObjectsInit(0x1, &entry, 1);
        return last();
    }
};

TEST_F(FakeCalls, everyCallOfAStoryIsRecorded) {
    CK_ULONG count = 0;
    CK_SLOT_ID ids[3] = {};
    std::string pin = "1234";
    CK_SESSION_HANDLE session = 0;
    CK_SLOT_INFO slot = {};
    p11->C_GetSlotList(CK_FALSE, nullptr, &count);
    count = 3;
    p11->C_GetSlotList(CK_TRUE, ids, &count);
    p11->C_GetSlotInfo(0x11, &slot);
    p11->C_OpenSession(0x11, 6, nullptr, nullptr, &session);
    p11->C_Login(session, CKU_USER, bytes(pin), 4);
    p11->C_SetPIN(session, bytes(pin), 4, bytes(pin), 0);
    p11->C_Logout(session);
    p11->C_CloseSession(session);
    p11->C_CloseSession(static_cast<CK_SESSION_HANDLE>(-1));
    p11->C_GenerateRandom(session, bytes(pin), 4);
    p11->C_Finalize(nullptr);
    EXPECT_EQ(fake.calls().size(), 11U);
    EXPECT_EQ(fake.takeCalls(), (Strings{"C_GetSlotList(0, null)", "C_GetSlotList(1, room=3)", "C_GetSlotInfo(0x11)",
                                         "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)",
                                         "C_SetPIN(0x1, 31323334, empty)", "C_Logout(0x1)", "C_CloseSession(0x1)",
                                         "C_CloseSession(none)", "C_GenerateRandom(...)", "C_Finalize(null)"}));
    EXPECT_EQ(fake.calls(), Strings{});
}

TEST_F(FakeCalls, templatesAreSpeltOut) {
    CK_ULONG number = 3;
    CK_BYTE data[] = {0x0A, 0xFF, 0x02};
    CK_BBOOL yes = CK_TRUE;
    EXPECT_EQ(searchText(CKA_CLASS, &number, sizeof(number)), "C_FindObjectsInit(0x1, [CKA_CLASS=3])");
    EXPECT_EQ(searchText(CKA_CLASS, data, 2), "C_FindObjectsInit(0x1, [CKA_CLASS=0AFF/2])");
    EXPECT_EQ(searchText(CKA_TOKEN, &yes, 1), "C_FindObjectsInit(0x1, [CKA_TOKEN=true])");
    EXPECT_EQ(searchText(CKA_TOKEN, data + 2, 1), "C_FindObjectsInit(0x1, [CKA_TOKEN=02/1])");
    EXPECT_EQ(searchText(CKA_ID, data, 3), "C_FindObjectsInit(0x1, [CKA_ID=0AFF02])");
    EXPECT_EQ(searchText(CKA_LABEL, nullptr, 0), "C_FindObjectsInit(0x1, [CKA_LABEL=null/0])");
    EXPECT_EQ(searchText(CKA_LABEL, data, 0), "C_FindObjectsInit(0x1, [CKA_LABEL=empty])");
    EXPECT_EQ(searchText(CKA_TOKEN, nullptr, 1), "C_FindObjectsInit(0x1, [CKA_TOKEN=null/1])");
    EXPECT_EQ(searchText(CKA_ID, data, static_cast<CK_ULONG>(-1)), "C_FindObjectsInit(0x1, [CKA_ID=unreadable/none])");
    EXPECT_EQ(searchText(CKA_VENDOR_DEFINED | 8, data, 1), "C_FindObjectsInit(0x1, [0x80000008=0A])");
    number = static_cast<CK_ULONG>(-1);
    EXPECT_EQ(searchText(CKA_KEY_TYPE, &number, sizeof(number)), "C_FindObjectsInit(0x1, [CKA_KEY_TYPE=none])");
    p11->C_FindObjectsInit(0x1, nullptr, 2);
    EXPECT_EQ(last(), "C_FindObjectsInit(0x1, null/2)");
    CK_ATTRIBUTE none;
    p11->C_FindObjectsInit(0x1, &none, 0);
    EXPECT_EQ(last(), "C_FindObjectsInit(0x1, [])");
}

TEST_F(FakeCalls, queriesShowTheRoomTheyOffer) {
    CK_BYTE room[8] = {};
    CK_ATTRIBUTE entries[2];
    entries[0].type = CKA_MODULUS;
    entries[0].pValue = nullptr;
    entries[0].ulValueLen = 0;
    entries[1].type = CKA_CLASS;
    entries[1].pValue = room;
    entries[1].ulValueLen = 8;
    p11->C_GetAttributeValue(0x1, 0x101, entries, 2);
    EXPECT_EQ(last(), "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0 CKA_CLASS=room/8])");
    CK_ULONG length = 8;
    p11->C_Sign(0x1, room, 2, nullptr, &length);
    EXPECT_EQ(last(), "C_Sign(0x1, 0000, null)");
    p11->C_Sign(0x1, room, 2, room, &length);
    EXPECT_EQ(last(), "C_Sign(0x1, 0000, room=8)");
    CK_OBJECT_HANDLE found = 0;
    p11->C_FindObjects(0x1, &found, 1, &length);
    EXPECT_EQ(last(), "C_FindObjects(0x1, max=1)");
}

TEST_F(FakeCalls, theRarerFormsAreTold) {
    CK_C_INITIALIZE_ARGS args = {};
    args.flags = CKF_OS_LOCKING_OK;
    p11->C_Initialize(&args);
    EXPECT_EQ(last(), "C_Initialize(flags=0x2)");
    args.pReserved = &args;
    p11->C_Initialize(&args);
    EXPECT_EQ(last(), "C_Initialize(flags=0x2, reserved)");
    p11->C_GetInfo(nullptr);
    EXPECT_EQ(last(), "C_GetInfo(null)");
    p11->C_Login(0x1, 9, nullptr, 0);
    EXPECT_EQ(last(), "C_Login(0x1, 0x9, null/0)");
    CK_BYTE label[32] = {0x41};
    p11->C_InitToken(0x11, nullptr, 0, label);
    EXPECT_EQ(last(), "C_InitToken(0x11, null/0, label=41" + std::string(62, '0') + ")");
    CK_MECHANISM mechanism = {CKM_RSA_PKCS, label, 1};
    p11->C_SignInit(0x1, &mechanism, 0x101);
    EXPECT_EQ(last(), "C_SignInit(0x1, CKM_RSA_PKCS(41), 0x101)");
    p11->C_SignInit(0x1, nullptr, 0);
    EXPECT_EQ(last(), "C_SignInit(0x1, null, 0x0)");
    CK_OBJECT_HANDLE keys[2] = {};
    mechanism = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    p11->C_GenerateKeyPair(0x1, &mechanism, nullptr, 0, nullptr, 0, keys, keys + 1);
    EXPECT_EQ(last(), "C_GenerateKeyPair(0x1, CKM_RSA_PKCS_KEY_PAIR_GEN, null/0, null/0)");
}

TEST_F(FakeCalls, recordingCanBeTurnedOffAndCallsCounted) {
    CK_INFO info = {};
    fake.restartCallCount();
    fake.setRecording(false);
    p11->C_GetInfo(&info);
    p11->C_GetInfo(&info);
    p11->C_Logout(1);
    EXPECT_EQ(fake.calls(), Strings{});
    EXPECT_EQ(fake.callCount(), 3U);
    EXPECT_EQ(fake.callCount(Function::C_GetInfo), 2U);
    fake.setRecording(true);
    fake.honest().C_GetInfo(&info);
    EXPECT_EQ(fake.calls(), Strings{});
    EXPECT_EQ(fake.callCount(), 3U);
}
