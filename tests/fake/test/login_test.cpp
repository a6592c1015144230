#include "tests/fake/test/FakeTest.h"

using Fake::kSlot;
using Fake::Role;

namespace {
constexpr CK_FLAGS kReadOnly = CKF_SERIAL_SESSION;
}

TEST_F(FakeTest, sessionsHaveStatesAndHandlesThatAreNotUsedTwice) {
    initialize();
    const CK_SESSION_HANDLE first = open(kReadOnly);
    EXPECT_EQ(first, 1U);
    EXPECT_EQ(stateOf(first), CKS_RO_PUBLIC_SESSION);
    const CK_SESSION_HANDLE second = open();
    EXPECT_EQ(second, 2U);
    EXPECT_EQ(stateOf(second), CKS_RW_PUBLIC_SESSION);
    EXPECT_EQ(login(first, CKU_USER, "1234"), CKR_OK);
    EXPECT_EQ(stateOf(first), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(stateOf(second), CKS_RW_USER_FUNCTIONS);
    EXPECT_EQ(p11->C_CloseSession(first), CKR_OK);
    EXPECT_EQ(p11->C_CloseSession(first), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(stateOf(second), CKS_RW_USER_FUNCTIONS);
    EXPECT_EQ(p11->C_CloseSession(second), CKR_OK);
    EXPECT_EQ(fake.login(), Role::Nobody);
    EXPECT_EQ(open(), 3U);
}

TEST_F(FakeTest, sessionsRefuseWhatCryptokiForbids) {
    initialize();
    CK_SESSION_HANDLE session = 77;
    EXPECT_EQ(p11->C_OpenSession(kSlot, CKF_RW_SESSION, nullptr, nullptr, &session),
              CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    EXPECT_EQ(p11->C_OpenSession(0x99, kReadOnly, nullptr, nullptr, &session), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(session, 77U);
    const CK_SESSION_HANDLE open1 = open();
    EXPECT_EQ(login(open1, CKU_SO, "12345678"), CKR_OK);
    EXPECT_EQ(stateOf(open1), CKS_RW_SO_FUNCTIONS);
    EXPECT_EQ(p11->C_OpenSession(kSlot, kReadOnly, nullptr, nullptr, &session), CKR_SESSION_READ_WRITE_SO_EXISTS);
}

TEST_F(FakeTest, sessionHandlesAndStatesCanBePrescribed) {
    initialize();
    fake.setNextSessionHandle(0);
    EXPECT_EQ(open(), 0U);
    EXPECT_EQ(open(), 1U);
    fake.setNextSessionHandle(static_cast<CK_SESSION_HANDLE>(-2));
    EXPECT_EQ(open(), static_cast<CK_SESSION_HANDLE>(-2));
    EXPECT_EQ(open(), static_cast<CK_SESSION_HANDLE>(-1));
    EXPECT_EQ(open(), 2U);
    fake.setSessionState(9);
    EXPECT_EQ(stateOf(2), 9U);
    EXPECT_EQ(fake.sessions().back(), (Fake::SessionState{2, kSlot, 6, CKS_RW_PUBLIC_SESSION, false, false}));
    fake.setSessionState(std::nullopt);
    EXPECT_EQ(stateOf(2), CKS_RW_PUBLIC_SESSION);
    fake.dropSessions();
    EXPECT_EQ(p11->C_CloseSession(2), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(FakeTest, loginRules) {
    initialize();
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(login(0x99, CKU_USER, "1234"), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(login(session, 7, "1234"), CKR_USER_TYPE_INVALID);
    EXPECT_EQ(p11->C_Login(session, CKU_USER, nullptr, 0), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(p11->C_Logout(session), CKR_USER_NOT_LOGGED_IN);
    EXPECT_EQ(login(session, CKU_USER, "1234"), CKR_OK);
    EXPECT_EQ(login(session, CKU_USER, "1234"), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(login(session, CKU_SO, "12345678"), CKR_USER_ANOTHER_ALREADY_LOGGED_IN);
    EXPECT_EQ(p11->C_Logout(session), CKR_OK);
    open(kReadOnly);
    EXPECT_EQ(login(session, CKU_SO, "12345678"), CKR_SESSION_READ_ONLY_EXISTS);
    fake.clearUserPin();
    EXPECT_EQ(fake.userPin(), std::nullopt);
    EXPECT_EQ(login(session, CKU_USER, "1234"), CKR_USER_PIN_NOT_INITIALIZED);
    EXPECT_EQ(fake.tokenInfo().flags, 0x405U);
}

TEST_F(FakeTest, wrongPinsCountDownToTheLock) {
    initialize();
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(login(session, CKU_USER, "123"), CKR_PIN_INCORRECT);
    EXPECT_EQ(fake.tries(Role::User), 2U);
    EXPECT_EQ(fake.tokenInfo().flags, 0x1040DU);
    EXPECT_EQ(login(session, CKU_USER, "12345"), CKR_PIN_INCORRECT);
    EXPECT_EQ(fake.tokenInfo().flags, 0x3040DU);
    EXPECT_EQ(login(session, CKU_USER, "1235"), CKR_PIN_INCORRECT);
    EXPECT_EQ(fake.tokenInfo().flags, 0x5040DU);
    EXPECT_EQ(login(session, CKU_USER, "1234"), CKR_PIN_LOCKED);
    EXPECT_EQ(fake.tries(Role::SecurityOfficer), 3U);
    fake.setTries(Role::SecurityOfficer, 1);
    EXPECT_EQ(fake.tokenInfo().flags, 0x35040DU);
    EXPECT_EQ(login(session, CKU_SO, "x"), CKR_PIN_INCORRECT);
    EXPECT_EQ(fake.tokenInfo().flags, 0x55040DU);
    fake.setTries(Role::User, 1);
    EXPECT_EQ(login(session, CKU_USER, "1234"), CKR_OK);
    EXPECT_EQ(fake.tries(Role::User), 3U);
}

TEST_F(FakeTest, setPinChangesThePinOfTheRole) {
    initialize();
    const CK_SESSION_HANDLE readOnly = open(kReadOnly);
    std::string old = "1234";
    std::string next = "777777";
    EXPECT_EQ(p11->C_SetPIN(readOnly, bytes(old), 4, bytes(next), 6), CKR_SESSION_READ_ONLY);
    EXPECT_EQ(p11->C_CloseSession(readOnly), CKR_OK);
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(p11->C_SetPIN(session, bytes(next), 6, bytes(next), 6), CKR_PIN_INCORRECT);
    EXPECT_EQ(fake.tries(Role::User), 2U);
    EXPECT_EQ(p11->C_SetPIN(session, bytes(old), 4, bytes(next), 3), CKR_PIN_LEN_RANGE);
    EXPECT_EQ(p11->C_SetPIN(session, bytes(old), 4, bytes(next), 6), CKR_OK);
    EXPECT_EQ(fake.userPin(), "777777");
    EXPECT_EQ(login(session, CKU_SO, "12345678"), CKR_OK);
    std::string officer = "12345678";
    EXPECT_EQ(p11->C_SetPIN(session, bytes(officer), 8, bytes(next), 6), CKR_OK);
    EXPECT_EQ(fake.soPin(), "777777");
    EXPECT_EQ(fake.userPin(), "777777");
}

TEST_F(FakeTest, initPinNeedsTheSecurityOfficer) {
    initialize();
    fake.setTries(Role::User, 0);
    const CK_SESSION_HANDLE session = open();
    std::string pin = "4321";
    EXPECT_EQ(p11->C_InitPIN(session, bytes(pin), 4), CKR_USER_NOT_LOGGED_IN);
    EXPECT_EQ(login(session, CKU_SO, "12345678"), CKR_OK);
    EXPECT_EQ(p11->C_InitPIN(session, bytes(pin), 3), CKR_PIN_LEN_RANGE);
    EXPECT_EQ(p11->C_InitPIN(session, bytes(pin), 4), CKR_OK);
    EXPECT_EQ(fake.userPin(), "4321");
    EXPECT_EQ(fake.tries(Role::User), 3U);
}

TEST_F(FakeTest, initTokenEmptiesTheToken) {
    initialize();
    fake.addObject(certificate("01"));
    std::string pin = "12345678";
    std::string wrong = "87654321";
    std::string label = "New" + std::string(29, ' ');
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(p11->C_InitToken(kSlot, bytes(pin), 8, bytes(label)), CKR_SESSION_EXISTS);
    EXPECT_EQ(p11->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(p11->C_InitToken(kSlot, nullptr, 0, bytes(label)), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(p11->C_InitToken(kSlot, bytes(wrong), 8, bytes(label)), CKR_PIN_INCORRECT);
    EXPECT_EQ(fake.tries(Role::SecurityOfficer), 2U);
    EXPECT_EQ(fake.objects().size(), 1U);
    EXPECT_EQ(p11->C_InitToken(kSlot, bytes(pin), 8, bytes(label)), CKR_OK);
    EXPECT_EQ(fake.objects().size(), 0U);
    const CK_TOKEN_INFO info = fake.tokenInfo();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(info.label), 32), label);
    EXPECT_EQ(info.flags, 0x405U);
    EXPECT_EQ(fake.userPin(), std::nullopt);
    fake.setTokenInitialized(false);
    EXPECT_EQ(p11->C_InitToken(kSlot, bytes(wrong), 8, bytes(label)), CKR_OK);
    EXPECT_EQ(fake.soPin(), "87654321");
    EXPECT_EQ(fake.tokenInfo().flags, 0x405U);
}
