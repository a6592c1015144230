// A PIN is never sent blindly: how it stands is asked first.
#include "host/card/TokenSteps.h"
#include "host/plugin/Errors.h"
#include "tests/card/CardTest.h"

namespace tests {
namespace {

using host::CardFailure;
using host::ExitStatus;
using host::LastTry;
using host::PinRole;
using host::PinSource;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class LastTryTest : public CardTest {
protected:
    /// Logs in with the PIN that the person types.
    void logIn(host::Token& token) {
        person.secrets = {Fake::kUserPin};
        token.login(readCurrentPin(PinSource(), PinRole::User, token));
    }
};

TEST_F(LastTryTest, withNobodyThereNothingIsSent) {
    Fake::module().setTries(Fake::Role::User, 1);
    host::Token& card = token();
    const CardFailure refused = failureIn([&] { logIn(card); });
    EXPECT_EQ(refused.status, ExitStatus::Refused);
    EXPECT_THAT(refused.reason, HasSubstr("one try is left"));
    EXPECT_EQ(calls("C_Login"), 0U);
    EXPECT_EQ(Fake::module().tries(Fake::Role::User), 1U);
}

TEST_F(LastTryTest, aPersonMayGoOnAndIsNotAskedForThePinBefore) {
    Fake::module().setTries(Fake::Role::User, 1);
    person.isThere = true;
    host::Token& card = token();
    EXPECT_EQ(failureIn([&] { logIn(card); }).status, ExitStatus::Refused);
    ASSERT_EQ(person.questions.size(), 1U) << "the PIN was asked for although nobody had said yes";
    EXPECT_THAT(person.questions.front(), HasSubstr("One try is left for the user PIN of token \"Fake Token\""));
    person.saysYes = true;
    logIn(card);
    EXPECT_EQ(calls("C_Login"), 1U);
    EXPECT_EQ(Fake::module().login(), Fake::Role::User);
}

TEST_F(LastTryTest, goSendsItAndStopDoesNotAsk) {
    Fake::module().setTries(Fake::Role::User, 1);
    person.isThere = true;
    person.saysYes = true;
    EXPECT_EQ(failureIn([&] { logIn(token({.lastTry = LastTry::Stop})); }).status, ExitStatus::Refused);
    EXPECT_THAT(person.questions, IsEmpty());
    person.isThere = false;
    logIn(token({.lastTry = LastTry::Go}));
    EXPECT_EQ(Fake::module().login(), Fake::Role::User);
}

TEST_F(LastTryTest, aLockedPinIsNotSentWhateverWasAllowed) {
    Fake::module().setTries(Fake::Role::User, 0);
    Fake::module().setTries(Fake::Role::SecurityOfficer, 0);
    host::Token& card = token({.lastTry = LastTry::Go});
    EXPECT_EQ(failureIn([&] { logIn(card); }).status, ExitStatus::PinLocked);
    EXPECT_EQ(failureIn([&] { card.guardPin(PinRole::Officer); }).status, ExitStatus::PinLocked);
    EXPECT_EQ(calls("C_Login"), 0U);
}

TEST_F(LastTryTest, theOfficersTriesCountForTheOfficersPinAlone) {
    Fake::module().setTries(Fake::Role::SecurityOfficer, 1);
    host::Token& card = token();
    EXPECT_EQ(failureIn([&] { card.guardPin(PinRole::Officer); }).status, ExitStatus::Refused);
    logIn(card);
    EXPECT_EQ(Fake::module().login(), Fake::Role::User);
}

TEST_F(LastTryTest, aWrongPinIsReportedWithItsResultAndCostsOneTry) {
    host::Token& card = token();
    const CardFailure wrong = failureIn([&] { card.login(secretOf("9999")); });
    EXPECT_EQ(wrong.status, ExitStatus::PinWrong);
    EXPECT_EQ(wrong.result, "CKR_PIN_INCORRECT");
    EXPECT_EQ(wrong.code, 33006U);
    EXPECT_THAT(wrong.remedy, HasSubstr("p11host status"));
    EXPECT_EQ(Fake::module().tries(Fake::Role::User), 2U);
}

TEST_F(LastTryTest, aLockedUserPinIsSetAnewByTheOfficer) {
    Fake::module().setTries(Fake::Role::User, 0);
    host::Token& card = token();
    unlockUserPin(card, secretOf(Fake::kSoPin), secretOf("4321"));
    EXPECT_EQ(Fake::module().userPin(), "4321");
    card.guardPin(PinRole::User);
}

class NewPin : public CardTest {};

TEST_F(NewPin, isTypedTwiceAndCheckedBeforeAnythingIsSent) {
    host::Token& card = token();
    person.secrets = {"1234", "1243", "12", "12", "4321", "4321"};
    EXPECT_EQ(readNewPin(PinSource(), PinRole::User, card), secretOf("4321"));
    EXPECT_THAT(person.told, HasSubstr("the two entries differ"));
    EXPECT_THAT(person.told, HasSubstr("it has 2 bytes, and the token takes 4 to 255"));
    EXPECT_THAT(person.questions.front(), HasSubstr("New user PIN of token \"Fake Token\""));
    EXPECT_EQ(calls("C_SetPIN") + calls("C_InitPIN") + calls("C_Login"), 0U);
}

TEST_F(NewPin, isGivenUpAfterThreeTries) {
    host::Token& card = token();
    person.secrets = {"1", "1", "2", "2", "3", "3", "4321", "4321"};
    EXPECT_THROW(static_cast<void>(readNewPin(PinSource(), PinRole::User, card)), host::UsageError);
    EXPECT_EQ(person.secrets.size(), 2U);
}

TEST_F(NewPin, thatNobodyCanTypeIsRefused) {
    host::Token& card = token();
    person.secrets = {"12\t34",
                      "12\t34",
                      "12\x7F"
                      "34",
                      "12\x7F"
                      "34",
                      "\x01"
                      "2345",
                      "\x01"
                      "2345"};
    EXPECT_THROW(static_cast<void>(readNewPin(PinSource(), PinRole::User, card)), host::UsageError);
    EXPECT_THAT(person.told, HasSubstr("control character"));
}

TEST(PinSources, aPinOnTheCommandLineIsRefusedAndNotRepeated) {
    for (const char* text : {"1234", "prompt:x", "env:", "file:", "fd:", "text:1234", "", ":1234"}) {
        try {
            static_cast<void>(host::readPinSource(text));
            ADD_FAILURE() << text;
        } catch (const host::UsageError& error) {
            EXPECT_THAT(error.what(), ::testing::Not(HasSubstr("1234")));
        }
    }
    EXPECT_EQ(host::readPinSource("prompt").kind, "prompt");
    EXPECT_EQ(host::readPinSource("env:A").value, "A");
    EXPECT_EQ(host::readPinSource("file:C:\\a b").value, "C:\\a b");
}

TEST(PinSources, aUriNamesAFileOrAProgram) {
    EXPECT_EQ(host::pinSourceOfUri("file:/etc/pin").value, "/etc/pin");
    EXPECT_EQ(host::pinSourceOfUri("file:///etc/pin").value, "/etc/pin");
    EXPECT_EQ(host::pinSourceOfUri("/etc/pin").kind, "file");
    EXPECT_EQ(host::pinSourceOfUri("|/bin/pin").kind, "command");
    EXPECT_THROW(static_cast<void>(host::pinSourceOfUri("file:")), host::UsageError);
}

} // namespace
} // namespace tests
