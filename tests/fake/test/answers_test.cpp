#include "tests/fake/test/FakeTest.h"

using Fake::Function;
using Fake::When;

class FakeAnswers : public FakeTest {
protected:
    void SetUp() override {
        FakeTest::SetUp();
        initialize();
    }
    CK_RV info() {
        text = {};
        return p11->C_GetInfo(&text);
    }
    CK_INFO text = {};
};

TEST_F(FakeAnswers, queuedAnswersComeInOrderThenTheModel) {
    fake.answerNext(Function::C_GetInfo, CKR_DEVICE_ERROR, 2);
    fake.passNext(Function::C_GetInfo);
    fake.answerNext(Function::C_GetInfo, CKR_DEVICE_MEMORY);
    EXPECT_EQ(info(), CKR_DEVICE_ERROR);
    EXPECT_EQ(text.cryptokiVersion.major, 0);
    EXPECT_EQ(info(), CKR_DEVICE_ERROR);
    EXPECT_EQ(info(), CKR_OK);
    EXPECT_EQ(text.cryptokiVersion.major, 2);
    EXPECT_EQ(info(), CKR_DEVICE_MEMORY);
    EXPECT_EQ(info(), CKR_OK);
}

TEST_F(FakeAnswers, anAnswerMayComeAfterTheModelActed) {
    fake.answerNext(Function::C_GetInfo, CKR_DEVICE_ERROR, 1, When::After);
    EXPECT_EQ(info(), CKR_DEVICE_ERROR);
    EXPECT_EQ(text.cryptokiVersion.major, 2);
    const CK_SESSION_HANDLE session = open();
    fake.answerNext(Function::C_CloseSession, CKR_DEVICE_ERROR, 1, When::After);
    EXPECT_EQ(p11->C_CloseSession(session), CKR_DEVICE_ERROR);
    EXPECT_EQ(fake.sessionCount(), 0U);
    const CK_SESSION_HANDLE second = open();
    fake.answerNext(Function::C_CloseSession, CKR_OK);
    EXPECT_EQ(p11->C_CloseSession(second), CKR_OK);
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(FakeAnswers, alwaysLastsUntilItIsCleared) {
    fake.answerAlways(Function::C_GetInfo, CKR_GENERAL_ERROR);
    fake.answerNext(Function::C_GetInfo, CKR_DEVICE_ERROR);
    EXPECT_EQ(info(), CKR_DEVICE_ERROR);
    EXPECT_EQ(info(), CKR_GENERAL_ERROR);
    EXPECT_EQ(info(), CKR_GENERAL_ERROR);
    fake.clearAnswers();
    EXPECT_EQ(info(), CKR_OK);
}

TEST_F(FakeAnswers, answersByNumberCountFromNow) {
    EXPECT_EQ(info(), CKR_OK);
    fake.answerCall(2, CKR_DEVICE_ERROR);
    fake.answerCall(4, CKR_DEVICE_MEMORY);
    EXPECT_EQ(p11->C_Logout(9), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(info(), CKR_DEVICE_ERROR);
    EXPECT_EQ(info(), CKR_OK);
    EXPECT_EQ(p11->C_Logout(9), CKR_DEVICE_MEMORY);
    EXPECT_EQ(info(), CKR_OK);
}

TEST_F(FakeAnswers, hooksReplaceAFunctionAndMayCallTheModel) {
    int calls = 0;
    fake.hook<Function::C_GetInfo>([&](CK_INFO* out) -> CK_RV {
        ++calls;
        const CK_RV rv = fake.honest().C_GetInfo(out);
        out->cryptokiVersion.major = 9;
        return rv;
    });
    fake.takeCalls();
    EXPECT_EQ(info(), CKR_OK);
    EXPECT_EQ(text.cryptokiVersion.major, 9);
    EXPECT_EQ(text.cryptokiVersion.minor, 40);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(fake.calls(), (Strings{"C_GetInfo()"}));
    fake.answerNext(Function::C_GetInfo, CKR_DEVICE_ERROR, 1, When::After);
    EXPECT_EQ(info(), CKR_DEVICE_ERROR);
    EXPECT_EQ(text.cryptokiVersion.major, 9);
    fake.unhook(Function::C_GetInfo);
    EXPECT_EQ(info(), CKR_OK);
    EXPECT_EQ(text.cryptokiVersion.major, 2);
    EXPECT_EQ(calls, 2);
}

TEST_F(FakeAnswers, aHookMayCallBackIntoTheModule) {
    fake.hook<Function::C_Logout>([&](CK_SESSION_HANDLE session) -> CK_RV { return p11->C_CloseSession(session); });
    const CK_SESSION_HANDLE session = open();
    EXPECT_EQ(p11->C_Logout(session), CKR_OK);
    EXPECT_EQ(fake.sessionCount(), 0U);
}

TEST_F(FakeAnswers, functionListsCanHaveHolesOrBeMissing) {
    CK_FUNCTION_LIST* list = nullptr;
    fake.setNullEntry(Function::C_Login);
    EXPECT_EQ(p11->C_Login, nullptr);
    fake.setNullEntry(Function::C_Login, false);
    EXPECT_NE(p11->C_Login, nullptr);
    fake.setNullList();
    list = p11;
    EXPECT_EQ(getFunctionList(library)(&list), CKR_OK);
    EXPECT_EQ(list, nullptr);
    fake.setNullList(false);
    fake.answerNext(Function::C_GetFunctionList, CKR_GENERAL_ERROR);
    EXPECT_EQ(getFunctionList(library)(&list), CKR_GENERAL_ERROR);
    EXPECT_EQ(list, nullptr);
    fake.answerNext(Function::C_GetFunctionList, CKR_GENERAL_ERROR, 1, When::After);
    EXPECT_EQ(getFunctionList(library)(&list), CKR_GENERAL_ERROR);
    EXPECT_EQ(list, p11);
}

TEST_F(FakeAnswers, resetTakesEverythingBack) {
    fake.answerAlways(Function::C_GetInfo, CKR_GENERAL_ERROR);
    fake.hook<Function::C_Logout>([](CK_SESSION_HANDLE) -> CK_RV { return CKR_DEVICE_ERROR; });
    fake.setNullEntry(Function::C_Login);
    fake.setNullList();
    fake.addSlot("More");
    open();
    fake.reset();
    EXPECT_EQ(fake.sessionCount(), 0U);
    EXPECT_FALSE(fake.isInitialized());
    EXPECT_NE(p11->C_Login, nullptr);
    CK_FUNCTION_LIST* list = nullptr;
    EXPECT_EQ(getFunctionList(library)(&list), CKR_OK);
    EXPECT_EQ(list, p11);
    initialize();
    EXPECT_EQ(info(), CKR_OK);
    EXPECT_EQ(p11->C_Logout(1), CKR_SESSION_HANDLE_INVALID);
    CK_ULONG count = 0;
    EXPECT_EQ(p11->C_GetSlotList(CK_FALSE, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(open(), 1U);
}
