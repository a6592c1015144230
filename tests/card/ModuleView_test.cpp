// The view of a module: what it shows, that it leaves no trace, and that it copes with nonsense.
#include "host/card/KeySteps.h"
#include "host/card/TokenSteps.h"
#include "tests/card/CardTest.h"

namespace tests {
namespace {

using Fake::Attributes;
using Fake::Function;
using host::ModuleError;
using host::ObjectClass;
using host::PinState;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class View : public CardTest {
protected:
    void SetUp() override {
        CardTest::SetUp();
        static_cast<void>(view());
    }
};

TEST_F(View, showsTheSlotAndItsToken) {
    const std::vector<host::SlotView> slots = view().slots();
    ASSERT_EQ(slots.size(), 1U);
    EXPECT_EQ(slots[0].name, Fake::kReader);
    ASSERT_TRUE(slots[0].token);
    EXPECT_EQ(slots[0].token->label, "Fake Token");
    EXPECT_EQ(slots[0].token->serial, "0000000000000011");
    EXPECT_EQ(slots[0].token->shortestPin, 4U);
    EXPECT_EQ(slots[0].token->longestPin, 255U);
    EXPECT_STREQ(stateOf(slots[0]), "ready");
}

TEST_F(View, namesTheFirstStateThatHolds) {
    const auto state = [&] { return std::string(stateOf(view().slot(Fake::kSlot))); };
    Fake::module().setTokenFlags(Fake::kSlot, CKF_WRITE_PROTECTED);
    EXPECT_EQ(state(), "read-only");
    Fake::module().setTries(Fake::Role::User, 1);
    EXPECT_EQ(state(), "last-try");
    Fake::module().setTries(Fake::Role::SecurityOfficer, 1);
    EXPECT_EQ(state(), "last-try");
    Fake::module().clearUserPin();
    EXPECT_EQ(state(), "no-user-pin");
    Fake::module().setUserPin("1234");
    Fake::module().setTries(Fake::Role::User, 0);
    EXPECT_EQ(state(), "user-pin-locked");
    Fake::module().setTries(Fake::Role::SecurityOfficer, 0);
    EXPECT_EQ(state(), "so-pin-locked");
    Fake::module().setTokenInitialized(false);
    EXPECT_EQ(state(), "blank");
    Fake::module().removeToken();
    EXPECT_EQ(state(), "absent");
}

TEST_F(View, showsObjectsAndClosesItsSession) {
    Fake::module().addObject(Attributes()
                                 .number(CKA_CLASS, CKO_PUBLIC_KEY)
                                 .number(CKA_KEY_TYPE, CKK_RSA)
                                 .hex(CKA_ID, "01FF")
                                 .raw(CKA_LABEL, "mine")
                                 .boolean(CKA_VERIFY, true)
                                 .hex(CKA_MODULUS, "00C0FF")
                                 .hex(CKA_PUBLIC_EXPONENT, "010001"));
    Fake::module().addObject(Attributes().number(CKA_CLASS, CKO_DATA).raw(CKA_LABEL, "note").raw(CKA_VALUE, "abc"));
    const std::vector<host::ObjectView> objects = view().objects(Fake::kSlot);
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_EQ(objects[0].objectClass, ObjectClass::PublicKey);
    EXPECT_EQ(objects[0].id, "\x01\xFF");
    EXPECT_EQ(objects[0].label, "mine");
    EXPECT_EQ(objects[0].type, "RSA");
    EXPECT_EQ(objects[0].size, 16U) << "a zero byte in front counts for nothing";
    EXPECT_THAT(objects[0].usage, ElementsAre("verify"));
    EXPECT_EQ(objects[1].objectClass, ObjectClass::Data);
    EXPECT_EQ(objects[1].size, 3U);
    EXPECT_EQ(Fake::module().sessionCount(), 0U);
}

TEST_F(View, seesPrivateObjectsWhileTheUserIsLoggedIn) {
    Fake::module().addObject(
        Attributes().number(CKA_CLASS, CKO_PRIVATE_KEY).boolean(CKA_PRIVATE, true).hex(CKA_ID, "01"));
    host::Token& card = token();
    EXPECT_THAT(card.objects(), IsEmpty());
    card.login(secretOf(Fake::kUserPin));
    EXPECT_EQ(card.objects().size(), 1U);
    EXPECT_EQ(calls("C_Login"), 1U);
}

TEST_F(View, neverWritesOrLogsIn) {
    static_cast<void>(view().slots());
    static_cast<void>(view().objects(Fake::kSlot));
    static_cast<void>(view().mechanisms(Fake::kSlot));
    for (const char* function :
         {"C_Login", "C_InitToken", "C_CreateObject", "C_SetAttributeValue", "C_DestroyObject"}) {
        EXPECT_EQ(calls(function), 0U) << function;
    }
}

TEST_F(View, isNoObstacleToAnOfficersLoginNorToInitialising) {
    host::Token& card = token();
    static_cast<void>(card.objects());
    unlockUserPin(card, secretOf(Fake::kSoPin), secretOf("4321"));
    static_cast<void>(card.objects());
    initialiseToken(card, "again", secretOf(Fake::kSoPin));
    EXPECT_EQ(card.info().label, "again");
}

TEST_F(View, boundsWhatAModuleAnnounces) {
    Fake::module().hook<Function::C_GetSlotList>([](CK_BBOOL, CK_SLOT_ID*, CK_ULONG* count) -> CK_RV {
        *count = static_cast<CK_ULONG>(-1);
        return CKR_OK;
    });
    EXPECT_THROW(static_cast<void>(view().slots()), ModuleError);
    Fake::module().hook<Function::C_GetSlotList>([](CK_BBOOL, CK_SLOT_ID* list, CK_ULONG* count) -> CK_RV {
        *count = list == nullptr ? 1 : 1000; // grew between the two calls
        return CKR_OK;
    });
    Fake::module().hook<Function::C_GetSlotInfo>([](CK_SLOT_ID, CK_SLOT_INFO* info) -> CK_RV {
        std::fill_n(reinterpret_cast<char*>(info), sizeof *info, '\xFF');
        return CKR_OK;
    });
    EXPECT_EQ(view().slots().size(), 1U);
    Fake::module().unhook(Function::C_GetSlotList);
    Fake::module().unhook(Function::C_GetSlotInfo);
    Fake::module().hook<Function::C_GetMechanismList>([](CK_SLOT_ID, CK_MECHANISM_TYPE*, CK_ULONG* count) -> CK_RV {
        *count = static_cast<CK_ULONG>(-1);
        return CKR_OK;
    });
    EXPECT_THAT(view().mechanisms(Fake::kSlot), IsEmpty());
    Fake::module().unhook(Function::C_GetMechanismList);
}

TEST_F(View, endsASearchThatNeverEnds) {
    Fake::module().hook<Function::C_FindObjects>(
        [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE*, CK_ULONG, CK_ULONG* count) -> CK_RV {
            *count = static_cast<CK_ULONG>(-1);
            return CKR_OK;
        });
    Fake::module().setRecording(false);
    EXPECT_THROW(static_cast<void>(view().objects(Fake::kSlot)), ModuleError);
    Fake::module().setRecording(true);
    EXPECT_EQ(Fake::module().sessionCount(), 0U);
    Fake::module().unhook(Function::C_FindObjects);
}

TEST_F(View, takesNoAttributeOfAnAbsurdLength) {
    Fake::module().addObject(Attributes().number(CKA_CLASS, CKO_CERTIFICATE));
    for (const CK_ULONG absurd : {static_cast<CK_ULONG>(-1), static_cast<CK_ULONG>(-2), CK_ULONG{1} << 30U}) {
        Fake::module().hook<Function::C_GetAttributeValue>(
            [=](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* attributes, CK_ULONG) -> CK_RV {
                attributes[0].ulValueLen = absurd;
                return CKR_OK;
            });
        const std::vector<host::ObjectView> objects = view().objects(Fake::kSlot);
        ASSERT_EQ(objects.size(), 1U);
        EXPECT_EQ(objects[0].objectClass, ObjectClass::Other);
        EXPECT_EQ(objects[0].label, "");
    }
    Fake::module().unhook(Function::C_GetAttributeValue);
}

TEST_F(View, takesAnExceptionForAFailure) {
    const auto failure = [&] {
        try {
            static_cast<void>(view().slots());
        } catch (const ModuleError& error) {
            return error.function() + " " + error.result();
        }
        return std::string("none");
    };
    Fake::module().hook<Function::C_GetSlotInfo>([](CK_SLOT_ID, CK_SLOT_INFO*) -> CK_RV { throw 1; });
    EXPECT_EQ(failure(), "C_GetSlotInfo CKR_GENERAL_ERROR");
    Fake::module().hook<Function::C_GetSlotInfo>([](CK_SLOT_ID, CK_SLOT_INFO*) -> CK_RV { throw std::bad_alloc(); });
    EXPECT_EQ(failure(), "C_GetSlotInfo CKR_HOST_MEMORY");
    Fake::module().unhook(Function::C_GetSlotInfo);
}

TEST_F(View, saysWhichCallFailedAndCopesWithMissingFunctions) {
    host::Token& card = token();
    Fake::module().answerNext(Function::C_OpenSession, CKR_DEVICE_REMOVED);
    const host::CardFailure gone = failureIn([&] { static_cast<void>(card.objects()); });
    EXPECT_EQ(gone.status, host::ExitStatus::NoToken);
    EXPECT_EQ(gone.result, "CKR_DEVICE_REMOVED");
    Fake::module().clearAnswers();
    Fake::module().setNullEntry(Function::C_FindObjectsInit);
    EXPECT_THROW(static_cast<void>(view().objects(Fake::kSlot)), ModuleError);
    Fake::module().setNullEntry(Function::C_FindObjectsInit, false);
}

} // namespace
} // namespace tests
