// The normal user's login, as scripts ask for it.

#include "tests/conformance/SessionTest.h"
#include "util/Conversions.h"

namespace Conformance::LoginAsUserTests {

using Fake::Function;

namespace {

constexpr CK_SLOT_ID kSlot = Fake::kSlot;
constexpr CK_FLAGS kReadWrite = CKF_RW_SESSION;
const std::string kMethod = "loginAsUser";
const std::string kInner = "getAuthicatedUser";

const Trace kNoPin = {{1, "PKCS11Client::loginAsUser : no PIN Found"}};

Trace announcedLogin(CK_SESSION_HANDLE session) {
    return Trace{{2, "PKCS11Client::loginAsUser : C_Login"}} + in(kMethod, "hSession", session) +
           Trace{{4, "PKCS11Client::loginAsUser: --> CKU_USER"}};
}

} // namespace

class LoginAsUser : public SessionTest {
protected:
    CK_RV login(const std::string& pin = "31323334") {
        loggedIn = true;
        return session.loginAsUser(TStringHex2Binary(toTString(pin)).bytes(), loggedIn);
    }

    bool loggedIn = true;
};

TEST_F(LoginAsUser, opensAReadWriteSessionAndLogsIn) {
    EXPECT_EQ(login(), CKR_OK);

    EXPECT_TRUE(loggedIn);
    EXPECT_EQ(fake.login(), Fake::Role::User);
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(loginAsUserTrace(1));
}

TEST_F(LoginAsUser, logsInOnTheOpenSession) {
    open(kReadWrite);

    EXPECT_EQ(login(), CKR_OK);

    EXPECT_TRUE(loggedIn);
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(loginOnOpenSessionTrace(1));
}

TEST_F(LoginAsUser, replacesAReadOnlySessionEvenOfALoggedInUser) {
    open(0);
    fake.setLogin(Fake::Role::User);

    EXPECT_EQ(login(), CKR_OK);

    EXPECT_TRUE(loggedIn);
    expectCalls({"C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)",
                 "C_GetSessionInfo(0x2)", "C_Login(0x2, CKU_USER, 31323334)"});
    expectTrace(entry(kMethod) + replaceSessionTrace(1, CKS_RO_USER_FUNCTIONS, 2) +
                authenticatedUserTrace(2, CKS_RW_PUBLIC_SESSION) + announcedLogin(2) + leave(kMethod));
}

TEST_F(LoginAsUser, aUserWhoIsLoggedInIsNotLoggedInAgain) {
    open(kReadWrite);
    fake.setLogin(Fake::Role::User);

    EXPECT_EQ(login(), CKR_OK);

    EXPECT_FALSE(loggedIn);
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)"});
    expectTrace(alreadyLoggedInTrace(1));
}

TEST_F(LoginAsUser, aUserWhoIsLoggedInNeedsNoPin) {
    open(kReadWrite);
    fake.setLogin(Fake::Role::User);

    EXPECT_EQ(login(""), CKR_OK);

    EXPECT_FALSE(loggedIn);
    expectTraceAt(1, {});
}

TEST_F(LoginAsUser, theSecurityOfficerIsLoggedOutFirst) {
    open(kReadWrite);
    fake.setLogin(Fake::Role::SecurityOfficer);

    EXPECT_EQ(login(), CKR_OK);

    EXPECT_TRUE(loggedIn);
    EXPECT_EQ(fake.login(), Fake::Role::User);
    expectCalls(
        {"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_Logout(0x1)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(entry(kMethod) + keepSessionTrace(1, CKS_RW_SO_FUNCTIONS, 6) +
                authenticatedUserTrace(1, CKS_RW_SO_FUNCTIONS) + logoutTrace(kMethod, 1) + announcedLogin(1) +
                leave(kMethod));
}

TEST_F(LoginAsUser, aFailingLogoutOfTheSecurityOfficerEndsIt) {
    open(kReadWrite);
    fake.setLogin(Fake::Role::SecurityOfficer);
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);

    EXPECT_EQ(login(), CKR_DEVICE_ERROR);

    EXPECT_FALSE(loggedIn);
    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_Logout(0x1)"});
    expectTrace(entry(kMethod) + keepSessionTrace(1, CKS_RW_SO_FUNCTIONS, 6) +
                authenticatedUserTrace(1, CKS_RW_SO_FUNCTIONS) + logoutTrace(kMethod, 1, 0x30) + leave(kMethod));
}

TEST_F(LoginAsUser, theSecurityOfficerIsLoggedOutEvenWhereNoPinIsKnown) {
    open(kReadWrite);
    fake.setLogin(Fake::Role::SecurityOfficer);

    EXPECT_EQ(login(""), CKR_FUNCTION_FAILED);

    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
    expectTrace(entry(kMethod) + keepSessionTrace(1, CKS_RW_SO_FUNCTIONS, 6) +
                authenticatedUserTrace(1, CKS_RW_SO_FUNCTIONS) + logoutTrace(kMethod, 1) + kNoPin + leave(kMethod));
}

TEST_F(LoginAsUser, withoutAPinTheSessionStaysOpen) {
    EXPECT_EQ(login(""), CKR_FUNCTION_FAILED);

    EXPECT_FALSE(loggedIn);
    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)"});
    expectTrace(entry(kMethod) + openSessionTrace(kReadWrite, 1) + authenticatedUserTrace(1, CKS_RW_PUBLIC_SESSION) +
                kNoPin + leave(kMethod));
}

TEST_F(LoginAsUser, aPinThatIsNotHexadecimalIsNoPin) {
    open(kReadWrite);
    for (const char* pin : {" ", "1", "123", "zz", "3132333X", "0x31", "31-32", "P\xC3\xA4ss"}) {
        EXPECT_EQ(login(pin), CKR_FUNCTION_FAILED) << pin;
        EXPECT_FALSE(loggedIn);
        expectTraceAt(1, kNoPin);
    }
    EXPECT_EQ(fake.callCount(Function::C_Login), 0U);
}

TEST_F(LoginAsUser, anyBytesMayBeAPin) {
    fake.setUserPin(std::string("\0\xFF\x80\x01\0", 5));

    EXPECT_EQ(login("00ff800100"), CKR_OK);

    EXPECT_TRUE(loggedIn);
    EXPECT_EQ(calls().back(), "C_Login(0x1, CKU_USER, 00FF800100)");
}

TEST_F(LoginAsUser, aLongPinIsPassedAsItIs) {
    std::string digits;
    for (int i = 0; i < 5000; ++i) {
        digits += "41";
    }
    EXPECT_EQ(login(digits), CKR_PIN_INCORRECT);
    EXPECT_EQ(calls().back(), "C_Login(0x1, CKU_USER, " + digits + ")");
}

TEST_F(LoginAsUser, aFailingLoginIsReturned) {
    EXPECT_EQ(login("39393939"), CKR_PIN_INCORRECT);

    EXPECT_FALSE(loggedIn);
    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 39393939)"});
    expectTrace(loginAsUserTrace(1, 0xA0));
}

TEST_F(LoginAsUser, alreadyLoggedInIsAFailureOfTheLoginLikeAnyOther) {
    fake.answerNext(Function::C_Login, CKR_USER_ALREADY_LOGGED_IN);

    EXPECT_EQ(login(), CKR_USER_ALREADY_LOGGED_IN);

    EXPECT_FALSE(loggedIn);
    EXPECT_EQ(fake.callCount(Function::C_Login), 1U);
    expectTrace(loginAsUserTrace(1, 0x100));
}

TEST_F(LoginAsUser, aSessionThatCannotBeOpenedEndsIt) {
    fake.answerNext(Function::C_OpenSession, CKR_DEVICE_REMOVED);

    EXPECT_EQ(login(), CKR_DEVICE_REMOVED);

    EXPECT_FALSE(loggedIn);
    EXPECT_FALSE(session.isOpen());
    expectCalls({"C_OpenSession(0x11, flags=0x6)"});
    expectTrace(entry(kMethod) + openSessionTrace(kReadWrite, kNoSession, kSlot, 0x32) +
                failed(kMethod, "openSession", 0x32) + leave(kMethod));
}

TEST_F(LoginAsUser, anUnresolvedSlotEndsIt) {
    session.setSlotID(kNoSlot);

    EXPECT_EQ(login(), CKR_SLOT_ID_INVALID);

    expectCalls({"C_OpenSession(none, flags=0x6)"});
    expectTraceAt(1, failed("openSession", "C_OpenSession", 0x03) + failed(kMethod, "openSession", 0x03));
}

TEST_F(LoginAsUser, aSessionThatCannotBeInspectedEndsItUnderAnotherName) {
    fake.answerNext(Function::C_GetSessionInfo, CKR_DEVICE_ERROR, 1, Fake::When::After);

    EXPECT_EQ(login(), CKR_DEVICE_ERROR);

    EXPECT_FALSE(loggedIn);
    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)"});
    expectTrace(entry(kMethod) + openSessionTrace(kReadWrite, 1) + sessionCall(kInner, "C_GetSessionInfo", 1) +
                failedTight(kInner, "C_GetSessionInfo", 0x30) + leave(kInner) +
                Trace{{1, "PKCS11Client::loginAsUser: getAuthicatorUser 0x30 : failed"}} + leave(kMethod));
}

TEST_F(LoginAsUser, anInvalidHandleMeansNobodyAndItsMessageIsMisspelt) {
    fake.answerNext(Function::C_GetSessionInfo, CKR_SESSION_HANDLE_INVALID);

    EXPECT_EQ(login(), CKR_OK);

    EXPECT_TRUE(loggedIn);
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(entry(kMethod) + openSessionTrace(kReadWrite, 1) + sessionCall(kInner, "C_GetSessionInfo", 1) +
                Trace{{2, "PKCS11Client::getAuthicatedUser: C_GetSessionInfo: Session Hanlde Invalid"}} +
                leave(kInner) + announcedLogin(1) + leave(kMethod));
}

TEST_F(LoginAsUser, informationWrittenWithAnInvalidHandleDoesNotCount) {
    fake.hook<Function::C_GetSessionInfo>([](CK_SESSION_HANDLE, CK_SESSION_INFO* info) -> CK_RV {
        *info = {kSlot, CKS_RW_SO_FUNCTIONS, 6, 0};
        return CKR_SESSION_HANDLE_INVALID;
    });

    EXPECT_EQ(login(), CKR_OK);

    EXPECT_TRUE(loggedIn);
    EXPECT_EQ(fake.callCount(Function::C_Logout), 0U);
}

TEST_F(LoginAsUser, aStaleHandleIsReplaced) {
    open(kReadWrite);
    fake.dropSessions();

    EXPECT_EQ(login(), CKR_OK);

    EXPECT_EQ(session.handle(), 2U);
    expectCalls({"C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)",
                 "C_GetSessionInfo(0x2)", "C_Login(0x2, CKU_USER, 31323334)"});
}

TEST_F(LoginAsUser, missingFunctionsAnswerAsNotSupported) {
    fake.setNullEntry(Function::C_Login);
    EXPECT_EQ(login(), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_FALSE(loggedIn);
    expectTrace(loginAsUserTrace(1, 0x54));
}

struct LoginRow {
    CK_STATE state;
    bool logout;
    bool login;
};

class LoginByState : public LoginAsUser, public ::testing::WithParamInterface<LoginRow> {};

TEST_P(LoginByState, theSessionStateDecides) {
    const LoginRow row = GetParam();
    fake.setSessionState(row.state);
    fake.answerNext(Function::C_Logout, CKR_OK);

    EXPECT_EQ(login(), CKR_OK);

    EXPECT_EQ(loggedIn, row.login);
    std::vector<std::string> expected = {"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)"};
    if (row.logout) {
        expected.push_back("C_Logout(0x1)");
    }
    if (row.login) {
        expected.push_back("C_Login(0x1, CKU_USER, 31323334)");
    }
    expectCalls(expected);
    Trace lines = entry(kMethod) + openSessionTrace(kReadWrite, 1) + authenticatedUserTrace(1, row.state);
    lines += row.logout ? logoutTrace(kMethod, 1) : Trace();
    lines += row.login ? announcedLogin(1) : Trace();
    expectTrace(lines + leave(kMethod));
}

INSTANTIATE_TEST_SUITE_P(
    States, LoginByState,
    ::testing::Values(LoginRow{CKS_RO_PUBLIC_SESSION, false, true}, LoginRow{CKS_RO_USER_FUNCTIONS, false, false},
                      LoginRow{CKS_RW_PUBLIC_SESSION, false, true}, LoginRow{CKS_RW_USER_FUNCTIONS, false, false},
                      LoginRow{CKS_RW_SO_FUNCTIONS, true, true}, LoginRow{5, false, false},
                      LoginRow{33005, false, false}, LoginRow{static_cast<CK_STATE>(-1), false, false}));

} // namespace Conformance::LoginAsUserTests
