// Card commands in front of a person: questions, repeats, and what is not shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/host/posix/OnTerminal.h"
#include "tests/host/posix/SoftTokenFolder.h"

namespace tests {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class CardTerminal : public SoftTokenFolder {
protected:
    void SetUp() override {
        SoftTokenFolder::SetUp();
        if (!IsSkipped() && !hasTerminals()) {
            GTEST_SKIP() << "no pseudo-terminal can be opened here";
        }
    }

    [[nodiscard]] TerminalOutcome onTerminal(const Words& words, const std::vector<Turn>& turns) const {
        return runOnTerminal(command(words), turns, {{"SOFTHSM2_CONF", configuration()}});
    }
    /// A token with both PINs and a key; a secret's source as the card commands take it.
    [[nodiscard]] std::string tokenWithAKey() const {
        const std::string officer = "file:" + secretFile("so", "12345678");
        std::string pin = "file:" + secretFile("pin", "24681");
        EXPECT_EQ(host({"init-token", "--label", "alice", "--so-pin", officer, "--new-pin", pin}).status, 0);
        EXPECT_EQ(host({"generate-key", "--id", "01", "--size", "1024", "--pin", pin}).status, 0);
        return pin;
    }
};

TEST_F(CardTerminal, asksForNewPinsTwiceAndSaysWhoseTheyAre) {
    const TerminalOutcome made = onTerminal({"init-token", "--label", "alice"},
                                            {{"New security officer's PIN of the blank token in reader", "87654321\n"},
                                             {"The same again: ", "87654321\n"},
                                             {"New user PIN of the blank token", "24681\n"},
                                             {"The same again: ", "24682\n"},
                                             {"New user PIN", "24\n"},
                                             {"The same again: ", "24\n"},
                                             {"New user PIN", "24681\n"},
                                             {"The same again: ", "24681\n"}});
    const std::string& shown = made.shown;
    EXPECT_THAT(made.echoes, Each(false));
    EXPECT_TRUE(made.isRestored);
    EXPECT_THAT(shown, HasSubstr("the two entries differ"));
    EXPECT_THAT(shown, HasSubstr("the token takes 4 to 255"));
    EXPECT_THAT(shown, HasSubstr("the user PIN is set"));
    EXPECT_THAT(shown, HasSubstr("status 0"));
    EXPECT_THAT(shown, Not(HasSubstr("2468")));
    EXPECT_THAT(shown, Not(HasSubstr("8765")));
    const std::string logged =
        onTerminal({"objects", "--pin", "prompt"}, {{"User PIN of token \"alice\": ", "24681\n", true}}).shown;
    EXPECT_THAT(logged, HasSubstr("status 0"));
}

TEST_F(CardTerminal, asksBeforeItErasesAndTakesNothingButYesForYes) {
    const std::string officer = "file:" + secretFile("so", "12345678");
    ASSERT_EQ(host({"init-token", "--label", "alice", "--so-pin", officer, "--no-user-pin"}).status, 0);
    const Words erase = {"init-token", "--label", "bob", "--erase", "--so-pin", officer, "--no-user-pin"};
    for (const char* no : {"\n", "n\n", "yesno\n"}) {
        const TerminalOutcome outcome = onTerminal(erase, {{"Destroy everything on token \"alice\"", no}});
        const std::string& shown = outcome.shown;
        EXPECT_THAT(outcome.echoes, ElementsAre(true)) << "the answer is no secret";
        EXPECT_THAT(shown, HasSubstr("status 9")) << no;
        EXPECT_THAT(shown, HasSubstr("the answer was not yes; nothing was changed"));
    }
    EXPECT_THAT(onTerminal(erase, {{"[y/N] ", "yes\n"}}).shown, HasSubstr("status 0"));
}

TEST_F(CardTerminal, anInterruptAtAQuestionEndsTheProgram) {
    const std::string officer = "file:" + secretFile("so", "12345678");
    ASSERT_EQ(host({"init-token", "--label", "alice", "--so-pin", officer, "--no-user-pin"}).status, 0);
    const TerminalOutcome outcome = onTerminal({"set-pin", "--so-pin", officer}, {{"New user PIN", "12\x03"}});
    EXPECT_THAT(outcome.shown, HasSubstr("status 130"));
    EXPECT_THAT(outcome.shown, HasSubstr("p11host: interrupted before anything was changed; the token is as it was"));
    EXPECT_TRUE(outcome.isRestored) << "the terminal stays without echo";
    EXPECT_THAT(host({"status", "--json"}).output, HasSubstr("\"state\":\"no-user-pin\""));
}

TEST_F(CardTerminal, removeDataAsksAndTakesNothingButYesForYes) {
    const std::string pin = tokenWithAKey();
    const std::string status = host({"status", "--json"}).output;
    const Words remove = {"--reader",          nlohmann::json::parse(status).at("reader"),
                          "removeData",        "PIN=secret:" + pin.substr(pin.find(':') + 1),
                          "OBJ_TYPE=KEY_PAIR", "ID=hex:01"};
    for (const char* no : {"\n", "n\n", "no\n", "\x04"}) {
        const TerminalOutcome outcome = onTerminal(remove, {{"Remove them? [y/N] ", no}});
        EXPECT_THAT(outcome.shown, HasSubstr("the answer was not yes; nothing was removed"));
        EXPECT_THAT(outcome.shown, HasSubstr("status 9"));
        EXPECT_THAT(outcome.echoes, ElementsAre(true)) << "the answer is no secret";
        EXPECT_TRUE(outcome.isRestored);
    }
    EXPECT_THAT(onTerminal(remove, {{"Remove them? [y/N] ", "\x03"}}).shown, HasSubstr("status 130"));
    EXPECT_THAT(host({"public-key", "--id", "01"}).output, HasSubstr("PUBLIC KEY"));
    const std::string removed = onTerminal(remove, {{"Remove them? [y/N] ", "Yes\n"}}).shown;
    EXPECT_THAT(removed, HasSubstr("2 objects removed"));
    EXPECT_THAT(removed, HasSubstr("status 0"));
}

TEST_F(CardTerminal, removeShowsTheObjectsAndAsks) {
    const std::string pin = tokenWithAKey();
    const Words remove = {"remove", "--id", "01", "--pin", pin};
    const std::string kept = onTerminal(remove, {{"Remove 2 objects for ever? [y/N] ", "no\n"}}).shown;
    EXPECT_THAT(kept, HasSubstr("private-key \"\", identifier 01, RSA 1024"));
    EXPECT_THAT(kept, HasSubstr("status 9"));
    EXPECT_THAT(onTerminal(remove, {{"[y/N] ", "y\n"}}).shown, HasSubstr("1 private keys, 1 public keys"));
}

/// The scripted module with one try left for the user PIN, which is 1234.
class LastTryOnTerminal : public ::testing::Test {
protected:
    void SetUp() override {
        if (!hasTerminals()) {
            GTEST_SKIP() << "no pseudo-terminal can be opened here";
        }
    }

    [[nodiscard]] static std::string login(const std::vector<Turn>& turns) {
        return runOnTerminal({hostProgram(), "--module", beside(SCRIPTED_MODULE), "objects", "--pin", "prompt"}, turns,
                             {{"P11HOST_TEST_TOKEN", "user=1"}})
            .shown;
    }
};

TEST_F(LastTryOnTerminal, isAskedForBeforeThePin) {
    const std::string question = "One try is left for the user PIN of token \"Fake Token\": a wrong PIN locks it.";
    const std::string refused = login({{question, "n\n"}});
    EXPECT_THAT(refused, HasSubstr("one try is left; no PIN was sent"));
    EXPECT_THAT(refused, HasSubstr("status 9"));
    EXPECT_THAT(refused, Not(HasSubstr("User PIN of")));
    EXPECT_THAT(login({{question, "y\n"}, {"User PIN of token \"Fake Token\": ", "1234\n"}}), HasSubstr("status 0"));
    EXPECT_THAT(login({{question, "\x03"}}), HasSubstr("status 130"));
}

} // namespace
} // namespace tests
