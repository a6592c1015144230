#include "tests/fake/test/FakeTest.h"

using Fake::Function;
using Fake::kSlot;

TEST_F(FakeTest, nothingWorksBeforeInitialize) {
    CK_ULONG count = 0;
    CK_INFO info = {};
    EXPECT_EQ(p11->C_GetSlotList(CK_FALSE, nullptr, &count), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(p11->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(p11->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(p11->C_Initialize(nullptr), CKR_OK);
    EXPECT_TRUE(fake.isInitialized());
    EXPECT_EQ(p11->C_Initialize(nullptr), CKR_CRYPTOKI_ALREADY_INITIALIZED);
    EXPECT_EQ(p11->C_GetInfo(&info), CKR_OK);
    EXPECT_EQ(info.cryptokiVersion.major, 2);
    EXPECT_EQ(info.cryptokiVersion.minor, 40);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.manufacturerID), 32), "Fake Tokens" + std::string(21, ' '));
    EXPECT_EQ(p11->C_Finalize(nullptr), CKR_OK);
    EXPECT_FALSE(fake.isInitialized());
}

TEST_F(FakeTest, slotListCountsThenFills) {
    initialize();
    EXPECT_EQ(fake.addSlot("Second", false), 0x12U);
    CK_ULONG count = 99;
    EXPECT_EQ(p11->C_GetSlotList(CK_FALSE, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 2U);
    CK_SLOT_ID ids[2] = {};
    count = 1;
    EXPECT_EQ(p11->C_GetSlotList(CK_FALSE, ids, &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(p11->C_GetSlotList(CK_FALSE, ids, &count), CKR_OK);
    EXPECT_EQ(ids[0], 0x11U);
    EXPECT_EQ(ids[1], 0x12U);
    EXPECT_EQ(p11->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 1U);
    fake.removeAllSlots();
    EXPECT_EQ(p11->C_GetSlotList(CK_FALSE, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 0U);
}

TEST_F(FakeTest, slotAndTokenTellWhatTheyWereGiven) {
    initialize();
    fake.setDescription(kSlot, std::string("A\0B\t", 4) + std::string(80, 'x'));
    CK_SLOT_INFO slot = {};
    ASSERT_EQ(p11->C_GetSlotInfo(kSlot, &slot), CKR_OK);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(slot.slotDescription), 64),
              std::string("A\0B\t", 4) + std::string(60, 'x'));
    EXPECT_EQ(slot.flags, 7U);
    EXPECT_EQ(slot.hardwareVersion.major, 1);
    EXPECT_EQ(slot.firmwareVersion.minor, 4);
    CK_TOKEN_INFO token = {};
    ASSERT_EQ(p11->C_GetTokenInfo(kSlot, &token), CKR_OK);
    EXPECT_EQ(token.flags, 0x40DU);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(token.serialNumber), 16), "0000000000000011");
    EXPECT_EQ(p11->C_GetSlotInfo(0x99, &slot), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(p11->C_GetTokenInfo(0x99, &token), CKR_SLOT_ID_INVALID);
    EXPECT_THROW(fake.removeToken(0x99), std::out_of_range);
}

TEST_F(FakeTest, tokenFlagsCanBeShownAndHidden) {
    initialize();
    CK_TOKEN_INFO token = {};
    fake.setTokenFlags(kSlot, 0x440000, 0x4);
    ASSERT_EQ(p11->C_GetTokenInfo(kSlot, &token), CKR_OK);
    EXPECT_EQ(token.flags, 0x440409U);
    fake.setTokenFlags(kSlot, 0);
    ASSERT_EQ(p11->C_GetTokenInfo(kSlot, &token), CKR_OK);
    EXPECT_EQ(token.flags, 0x40DU);
}

TEST_F(FakeTest, aTokenThatLeavesTakesItsSessionsAlong) {
    initialize();
    const CK_SESSION_HANDLE session = openAsUser();
    fake.removeToken();
    EXPECT_EQ(fake.sessionCount(), 0U);
    CK_SESSION_INFO info = {};
    CK_TOKEN_INFO token = {};
    CK_SLOT_INFO slot = {};
    CK_SESSION_HANDLE other = 0;
    EXPECT_EQ(p11->C_GetSessionInfo(session, &info), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(p11->C_GetTokenInfo(kSlot, &token), CKR_TOKEN_NOT_PRESENT);
    EXPECT_EQ(p11->C_OpenSession(kSlot, CKF_SERIAL_SESSION, nullptr, nullptr, &other), CKR_TOKEN_NOT_PRESENT);
    EXPECT_EQ(p11->C_GetSlotInfo(kSlot, &slot), CKR_OK);
    EXPECT_EQ(slot.flags, 6U);
    fake.insertToken();
    EXPECT_EQ(p11->C_GetTokenInfo(kSlot, &token), CKR_OK);
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(FakeTest, theEmptyLibraryHasNoFunctionList) {
    const platform::DynamicLibrary empty = load(Fake::emptyModuleFile());
    ASSERT_TRUE(empty.isLoaded());
    EXPECT_EQ(empty.symbol("C_GetFunctionList"), nullptr);
}

TEST_F(FakeTest, theSecondLibraryIsAModuleOfItsOwn) {
    Fake::Module second = Fake::secondModule();
    second.reset();
    const platform::DynamicLibrary other = load(Fake::secondModuleFile());
    ASSERT_TRUE(other.isLoaded());
    CK_FUNCTION_LIST* list = nullptr;
    ASSERT_EQ(getFunctionList(other)(&list), CKR_OK);
    EXPECT_NE(list, p11);
    fake.addSlot("Only in the first");
    EXPECT_EQ(list->C_Initialize(nullptr), CKR_OK);
    EXPECT_TRUE(second.isInitialized());
    EXPECT_FALSE(fake.isInitialized());
    CK_ULONG count = 0;
    EXPECT_EQ(list->C_GetSlotList(CK_FALSE, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(second.takeCalls(), (Strings{"C_GetFunctionList()", "C_Initialize(null)", "C_GetSlotList(0, null)"}));
    EXPECT_EQ(fake.takeCalls(), (Strings{"C_GetFunctionList()"}));
    second.reset();
}
