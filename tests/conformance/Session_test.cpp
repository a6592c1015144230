// The executor's one session: opened, kept, replaced, closed; and the token's word about the last try.

#include "tests/conformance/SessionTest.h"

namespace Conformance::SessionTests {

using Fake::Function;

namespace {

constexpr CK_SLOT_ID kSlot = Fake::kSlot;
constexpr CK_FLAGS kReadWrite = CKF_RW_SESSION;
const std::string kOpen = "openSession";

Trace closing(CK_SESSION_HANDLE session) {
    return sessionCall(kOpen, "C_CloseSession", session);
}

Trace opening(CK_FLAGS flags, CK_SLOT_ID slot = kSlot) {
    return call(kOpen, "C_OpenSession") + in(kOpen, "SlotID", slot) +
           Trace{{4, textf("PKCS11Client::openSession: --> Flags=CKF_SERIAL_SESSION | 0x%x", low(flags))}};
}

Trace asking(CK_SESSION_HANDLE session) {
    return sessionCall(kOpen, "C_GetSessionInfo", session);
}

} // namespace

class OpenSession : public SessionTest {};

TEST_F(OpenSession, noSessionStandsAtTheStart) {
    const plugin::Session fresh(gate);
    EXPECT_FALSE(fresh.isOpen());
    EXPECT_EQ(fresh.handle(), kNoSession);
    EXPECT_EQ(fresh.slotID(), kNoSlot);
}

TEST_F(OpenSession, opensReadOnly) {
    EXPECT_EQ(session.openSession(0, false), CKR_OK);

    EXPECT_TRUE(session.isOpen());
    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(openSessionTrace(0, 1));
}

TEST_F(OpenSession, opensReadWrite) {
    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);

    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_OpenSession(0x11, flags=0x6)"});
    expectTrace(openSessionTrace(kReadWrite, 1));
}

TEST_F(OpenSession, keepsAReadOnlySessionThatWillDo) {
    open(0);

    EXPECT_EQ(session.openSession(0, false), CKR_OK);

    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_GetSessionInfo(0x1)"});
    expectTrace(keepSessionTrace(1, CKS_RO_PUBLIC_SESSION, 4));
}

TEST_F(OpenSession, keepsAReadWriteSessionAndItsLoginForAnyNeed) {
    open(kReadWrite);
    fake.setLogin(Fake::Role::User);

    EXPECT_EQ(session.openSession(0, false), CKR_OK);
    expectTrace(keepSessionTrace(1, CKS_RW_USER_FUNCTIONS, 6));
    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);
    expectTrace(keepSessionTrace(1, CKS_RW_USER_FUNCTIONS, 6));

    EXPECT_EQ(session.handle(), 1U);
    EXPECT_EQ(fake.login(), Fake::Role::User);
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)"});
}

TEST_F(OpenSession, keepsTheSecurityOfficersLogin) {
    open(kReadWrite);
    fake.setLogin(Fake::Role::SecurityOfficer);

    EXPECT_EQ(session.openSession(0, false), CKR_OK);

    EXPECT_EQ(fake.login(), Fake::Role::SecurityOfficer);
    expectTrace(keepSessionTrace(1, CKS_RW_SO_FUNCTIONS, 6));
}

TEST_F(OpenSession, replacesAReadOnlySessionWhenReadWriteIsWanted) {
    open(0);

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);

    EXPECT_EQ(session.handle(), 2U);
    expectCalls({"C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)"});
    expectTrace(replaceSessionTrace(1, CKS_RO_PUBLIC_SESSION, 2));
}

TEST_F(OpenSession, theLoginIsLostWithAReplacedSession) {
    open(0);
    fake.setLogin(Fake::Role::User);

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);

    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
    expectTrace(replaceSessionTrace(1, CKS_RO_USER_FUNCTIONS, 2));
}

TEST_F(OpenSession, onlyTheTwoReadOnlyStatesAreReplaced) {
    for (const CK_STATE state : {CK_STATE{2}, CK_STATE{3}, CK_STATE{4}, CK_STATE{5}, static_cast<CK_STATE>(-1)}) {
        fake.setSessionState(std::nullopt);
        ASSERT_EQ(session.openSession(0, true), CKR_OK);
        fake.setSessionState(state);
        const CK_SESSION_HANDLE before = session.handle();
        EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK) << state;
        EXPECT_EQ(session.handle(), before) << state;
    }
}

TEST_F(OpenSession, flagsThatAreMoreThanReadWriteReplaceNothing) {
    open(0);

    EXPECT_EQ(session.openSession(kReadWrite | CKF_SERIAL_SESSION, false), CKR_OK);

    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_GetSessionInfo(0x1)"});
}

TEST_F(OpenSession, aFailingCloseDoesNotStopTheReplacement) {
    open(0);
    fake.answerNext(Function::C_CloseSession, CKR_DEVICE_ERROR, 1, Fake::When::After);

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);

    EXPECT_EQ(session.handle(), 2U);
    expectTrace(entry(kOpen) + asking(1) + sessionInfoTrace(kOpen, kSlot, CKS_RO_PUBLIC_SESSION, 4) + closing(1) +
                failed(kOpen, "C_CloseSession", 0x30) + opening(kReadWrite) + out(kOpen, "hSession", 2) + leave(kOpen));
}

TEST_F(OpenSession, aReplacementThatCannotBeOpenedLeavesNone) {
    open(0);
    fake.answerNext(Function::C_OpenSession, CKR_TOKEN_WRITE_PROTECTED);

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_TOKEN_WRITE_PROTECTED);

    EXPECT_FALSE(session.isOpen());
    expectTrace(entry(kOpen) + asking(1) + sessionInfoTrace(kOpen, kSlot, CKS_RO_PUBLIC_SESSION, 4) + closing(1) +
                opening(kReadWrite) + failed(kOpen, "C_OpenSession", 0xE2) + out(kOpen, "hSession", kNoSession) +
                leave(kOpen));
}

TEST_F(OpenSession, forcedReplacesEvenAReadWriteSession) {
    open(kReadWrite);

    EXPECT_EQ(session.openSession(0, true), CKR_OK);

    EXPECT_EQ(session.handle(), 2U);
    expectCalls({"C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x4)"});
    expectTrace(entry(kOpen) + closing(1) + opening(0) + out(kOpen, "hSession", 2) + leave(kOpen));
}

TEST_F(OpenSession, forcedClosesEvenWhereNoneIsOpenAndItsFailureIsNotReturned) {
    EXPECT_EQ(session.openSession(kReadWrite, true), CKR_OK);

    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_CloseSession(none)", "C_OpenSession(0x11, flags=0x6)"});
    expectTrace(entry(kOpen) + closing(kNoSession) + failed(kOpen, "C_CloseSession", 0xB3) + opening(kReadWrite) +
                out(kOpen, "hSession", 1) + leave(kOpen));
}

TEST_F(OpenSession, forcedWithBothCallsFailingReturnsTheOpening) {
    open(kReadWrite);
    fake.answerNext(Function::C_CloseSession, CKR_DEVICE_ERROR, 1, Fake::When::After);
    fake.answerNext(Function::C_OpenSession, CKR_SESSION_COUNT);

    EXPECT_EQ(session.openSession(0, true), CKR_SESSION_COUNT);

    EXPECT_FALSE(session.isOpen());
    expectTraceAt(1, failed(kOpen, "C_CloseSession", 0x30) + failed(kOpen, "C_OpenSession", 0xB1));
}

TEST_F(OpenSession, aFailingOpeningIsReturnedAndTraced) {
    fake.answerNext(Function::C_OpenSession, CKR_TOKEN_NOT_PRESENT);

    EXPECT_EQ(session.openSession(0, false), CKR_TOKEN_NOT_PRESENT);

    EXPECT_FALSE(session.isOpen());
    EXPECT_EQ(session.handle(), kNoSession);
    expectTrace(openSessionTrace(0, kNoSession, kSlot, 0xE0));
}

TEST_F(OpenSession, aHandleWrittenAlongWithAFailureIsNoSession) {
    fake.hook<Function::C_OpenSession>([](CK_SLOT_ID, CK_FLAGS, void*, CK_NOTIFY, CK_SESSION_HANDLE* handle) -> CK_RV {
        *handle = 0x77;
        return CKR_DEVICE_ERROR;
    });

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_DEVICE_ERROR);

    EXPECT_FALSE(session.isOpen());
    EXPECT_EQ(session.handle(), kNoSession);
    expectTrace(openSessionTrace(kReadWrite, kNoSession, kSlot, 0x30));
    EXPECT_EQ(session.closeSession(), CKR_OK);
    expectCalls({"C_OpenSession(0x11, flags=0x6)"});
}

TEST_F(OpenSession, aModuleThatWritesNoHandleGivesNoSession) {
    fake.answerNext(Function::C_OpenSession, CKR_OK);

    EXPECT_EQ(session.openSession(0, false), CKR_OK);

    EXPECT_FALSE(session.isOpen());
    expectTrace(openSessionTrace(0, kNoSession));
}

TEST_F(OpenSession, everyHandleBelowNoneIsASession) {
    fake.hook<Function::C_OpenSession>([](CK_SLOT_ID, CK_FLAGS, void*, CK_NOTIFY, CK_SESSION_HANDLE* handle) -> CK_RV {
        *handle = 0;
        return CKR_OK;
    });
    EXPECT_EQ(session.openSession(0, false), CKR_OK);
    EXPECT_TRUE(session.isOpen());
    EXPECT_EQ(session.closeSession(), CKR_SESSION_HANDLE_INVALID);
    expectCalls({"C_OpenSession(0x11, flags=0x4)", "C_CloseSession(0x0)"});
    fake.unhook(Function::C_OpenSession);

    constexpr CK_SESSION_HANDLE kLast = kNoSession - 1;
    fake.setNextSessionHandle(kLast);
    EXPECT_EQ(session.openSession(0, false), CKR_OK);
    EXPECT_TRUE(session.isOpen());
    EXPECT_EQ(session.handle(), kLast);
    EXPECT_EQ(session.closeSession(), CKR_OK);
}

TEST_F(OpenSession, theUnresolvedSlotIsPassedToTheModule) {
    session.setSlotID(kNoSlot);

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_SLOT_ID_INVALID);

    expectCalls({"C_OpenSession(none, flags=0x6)"});
    expectTrace(openSessionTrace(kReadWrite, kNoSession, kNoSlot, 0x03));
}

TEST_F(OpenSession, neitherApplicationNorCallbackIsGiven) {
    bool seen = false;
    fake.hook<Function::C_OpenSession>(
        [&](CK_SLOT_ID slot, CK_FLAGS flags, void* application, CK_NOTIFY notify, CK_SESSION_HANDLE* handle) -> CK_RV {
            seen = true;
            EXPECT_EQ(application, nullptr);
            EXPECT_EQ(notify, nullptr);
            return fake.honest().C_OpenSession(slot, flags, application, notify, handle);
        });
    EXPECT_EQ(session.openSession(0, false), CKR_OK);
    EXPECT_TRUE(seen);
}

TEST_F(OpenSession, anotherFailureOfTheInformationIsReturnedAndTheSessionKept) {
    open(0);
    fake.answerNext(Function::C_GetSessionInfo, CKR_DEVICE_ERROR);

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_DEVICE_ERROR);

    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_GetSessionInfo(0x1)"});
    expectTrace(entry(kOpen) + asking(1) + failedTight(kOpen, "C_GetSessionInfo", 0x30) + leave(kOpen));
}

TEST_F(OpenSession, informationWrittenAlongWithAFailureDoesNotCount) {
    open(0);
    fake.answerNext(Function::C_GetSessionInfo, CKR_SESSION_CLOSED, 1, Fake::When::After);

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_SESSION_CLOSED);

    EXPECT_EQ(session.handle(), 1U);
    expectTrace(entry(kOpen) + asking(1) + failedTight(kOpen, "C_GetSessionInfo", 0xB0) + leave(kOpen));
}

TEST_F(OpenSession, aStaleHandleIsKeptAndReportedWhenReadOnlyWillDo) {
    open(kReadWrite);
    fake.dropSessions();

    EXPECT_EQ(session.openSession(0, false), CKR_SESSION_HANDLE_INVALID);

    EXPECT_EQ(session.handle(), 1U);
    expectCalls({"C_GetSessionInfo(0x1)"});
    expectTrace(entry(kOpen) + asking(1) + sessionInfoTrace(kOpen, 0, 0, 0) + leave(kOpen));
}

TEST_F(OpenSession, aStaleHandleIsReplacedWhenReadWriteIsWanted) {
    open(kReadWrite);
    fake.dropSessions();
    EXPECT_EQ(session.openSession(0, false), CKR_SESSION_HANDLE_INVALID);
    forget();

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);

    EXPECT_EQ(session.handle(), 2U);
    expectCalls({"C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)"});
    expectTrace(entry(kOpen) + asking(1) + sessionInfoTrace(kOpen, 0, 0, 0) + closing(1) +
                failed(kOpen, "C_CloseSession", 0xB3) + opening(kReadWrite) + out(kOpen, "hSession", 2) + leave(kOpen));
}

TEST_F(OpenSession, aStaleHandleIsReplacedWhateverInformationCameWithIt) {
    open(kReadWrite);
    fake.hook<Function::C_GetSessionInfo>([](CK_SESSION_HANDLE, CK_SESSION_INFO* info) -> CK_RV {
        *info = {0x55, CKS_RW_USER_FUNCTIONS, 6, 9};
        return CKR_SESSION_HANDLE_INVALID;
    });

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);

    EXPECT_EQ(session.handle(), 2U);
    expectCalls({"C_GetSessionInfo(0x1)", "C_CloseSession(0x1)", "C_OpenSession(0x11, flags=0x6)"});
}

TEST_F(OpenSession, theKeptSessionIsTheOldOneEvenOnAnotherSlot) {
    open(kReadWrite);
    session.setSlotID(fake.addSlot("Fake Reader 1"));

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);

    expectCalls({"C_GetSessionInfo(0x1)"});
    expectTrace(keepSessionTrace(1, CKS_RW_PUBLIC_SESSION, 6));
}

TEST_F(OpenSession, informationIsTracedAsTheModuleGaveIt) {
    open(kReadWrite);
    fake.hook<Function::C_GetSessionInfo>([](CK_SESSION_HANDLE, CK_SESSION_INFO* info) -> CK_RV {
        *info = {kNoSlot, 0xABCD, 0xFFFF, 0x1F};
        return CKR_OK;
    });

    EXPECT_EQ(session.openSession(kReadWrite, false), CKR_OK);

    const std::string name = "PKCS11Client::openSession: <-- sessionInfo.";
    expectTrace(entry(kOpen) + asking(1) +
                Trace{{4, name + "slotID=-1"},
                      {4, name + "state=0xabcd"},
                      {4, name + "flags=0xffff"},
                      {4, name + "ulDeviceError=0x1f"}} +
                leave(kOpen));
}

TEST_F(OpenSession, missingFunctionsAnswerAsNotSupported) {
    fake.setNullEntry(Function::C_OpenSession);
    EXPECT_EQ(session.openSession(0, false), CKR_FUNCTION_NOT_SUPPORTED);
    expectTrace(openSessionTrace(0, kNoSession, kSlot, 0x54));
}

class CloseSession : public OpenSession {};

TEST_F(CloseSession, closesTheOpenSession) {
    open(0);

    EXPECT_EQ(session.closeSession(), CKR_OK);

    EXPECT_FALSE(session.isOpen());
    EXPECT_EQ(fake.sessionCount(), 0U);
    expectCalls({"C_CloseSession(0x1)"});
    expectTrace(closeSessionTrace(1));
}

TEST_F(CloseSession, withoutASessionNothingIsCalled) {
    EXPECT_EQ(session.closeSession(), CKR_OK);

    expectCalls({});
    expectTrace(closeSessionTrace(std::nullopt));
}

TEST_F(CloseSession, aFailedCloseStillForgetsTheHandle) {
    open(0);
    fake.answerNext(Function::C_CloseSession, CKR_GENERAL_ERROR, 1, Fake::When::After);

    EXPECT_EQ(session.closeSession(), CKR_GENERAL_ERROR);

    EXPECT_FALSE(session.isOpen());
    EXPECT_EQ(session.handle(), kNoSession);
    expectTrace(closeSessionTrace(1, 0x05));
    EXPECT_EQ(session.closeSession(), CKR_OK);
    expectCalls({"C_CloseSession(0x1)"});
}

class LastTry : public OpenSession {
protected:
    /// What isLastTry says for this flag when the token reports these bits besides its own.
    bool ask(CK_FLAGS flag, CK_FLAGS tokenFlags) {
        fake.setTokenFlags(kSlot, tokenFlags);
        bool lastTry = true;
        EXPECT_EQ(session.isLastTry(flag, lastTry), CKR_OK);
        return lastTry;
    }
};

TEST_F(LastTry, writesNoEntryLineAndTheFlagsAtTheLevelOfCalls) {
    fake.setTokenFlags(kSlot, 0x20000);
    bool lastTry = false;

    EXPECT_EQ(session.isLastTry(0x20000, lastTry), CKR_OK);

    EXPECT_TRUE(lastTry);
    expectCalls({"C_GetTokenInfo(0x11)"});
    expectTrace(Trace{{2, "PKCS11Client::isLastTry : C_GetTokenInfo"},
                      {4, "PKCS11Client::isLastTry: --> SlotID=0x11"},
                      {2, "PKCS11Client::isLastTry: <-- tokenInfo.flags=0x2040d"},
                      {16, "PKCS11Client::isLastTry"}});
}

TEST_F(LastTry, onlyTheFlagThatWasAskedForCounts) {
    EXPECT_TRUE(ask(0x20000, 0x20000));
    EXPECT_FALSE(ask(0x20000, 0));
    EXPECT_FALSE(ask(0x20000, 0x200000));
    EXPECT_TRUE(ask(0x200000, 0x200000));
    EXPECT_FALSE(ask(0x200000, 0x20000));
    EXPECT_FALSE(ask(0x200000, 0));
}

TEST_F(LastTry, lowCountsAndLocksPlayNoPart) {
    EXPECT_FALSE(ask(0x20000, 0x10000 | 0x40000 | 0x80000));
    EXPECT_FALSE(ask(0x200000, 0x100000 | 0x400000 | 0x800000));
    EXPECT_TRUE(ask(0x20000, 0x20000 | 0x40000));
}

TEST_F(LastTry, anyOtherFlagIsNoLastTryThoughTheTokenHasIt) {
    constexpr CK_FLAGS kAll = 0xFF0000;
    EXPECT_FALSE(ask(0, kAll));
    EXPECT_FALSE(ask(0x10000, kAll));
    EXPECT_FALSE(ask(0x40000, kAll));
    EXPECT_FALSE(ask(0x220000, kAll));
    EXPECT_FALSE(ask(static_cast<CK_FLAGS>(-1), kAll));
}

TEST_F(LastTry, aFailureIsReturnedWhateverTheModuleWrote) {
    fake.setTokenFlags(kSlot, 0x20000);
    fake.answerNext(Function::C_GetTokenInfo, CKR_TOKEN_NOT_RECOGNIZED, 1, Fake::When::After);
    bool lastTry = true;

    EXPECT_EQ(session.isLastTry(0x20000, lastTry), CKR_TOKEN_NOT_RECOGNIZED);

    EXPECT_FALSE(lastTry);
    expectTrace(Trace{{2, "PKCS11Client::isLastTry : C_GetTokenInfo"},
                      {4, "PKCS11Client::isLastTry: --> SlotID=0x11"},
                      {1, "PKCS11Client::isLastTry: C_GetTokenInfo 0xe1 : failed"},
                      {16, "PKCS11Client::isLastTry"}});
}

} // namespace Conformance::SessionTests
