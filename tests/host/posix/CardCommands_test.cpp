// The card commands as a person or a shell script runs them, on SoftHSM2.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/host/posix/SoftTokenFolder.h"

namespace tests {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

class CardCommands : public SoftTokenFolder {
protected:
    void SetUp() override {
        SoftTokenFolder::SetUp();
        if (!IsSkipped()) {
            m_officer = "file:" + secretFile("so", "12345678");
            m_pin = "file:" + secretFile("pin", "123456");
        }
    }

    [[nodiscard]] Outcome initialised(const std::string& label = "alice") const {
        return host({"init-token", "--label", label, "--so-pin", m_officer, "--new-pin", m_pin});
    }
    [[nodiscard]] Outcome withPin(Words words) const {
        words.insert(words.end(), {"--pin", m_pin});
        return host(words);
    }
    [[nodiscard]] json answer(Words words, int status = 0) const {
        words.insert(words.begin(), "--json");
        const Outcome outcome = host(words);
        EXPECT_EQ(outcome.status, status) << outcome.errors;
        return json::parse(outcome.output);
    }
    /// What another program says.
    [[nodiscard]] std::string other(const std::string& commandLine) const {
        const Outcome outcome = run({"/bin/sh", "-c", commandLine}, "", {{"SOFTHSM2_CONF", configuration()}});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return outcome.output;
    }

    std::string m_officer;
    std::string m_pin;
};

TEST_F(CardCommands, aBlankTokenIsInitialisedAndGetsBothPins) {
    EXPECT_EQ(answer({"readers"}).at("readers").at(0).at("state"), "blank");
    const Outcome made = initialised();
    ASSERT_EQ(made.status, 0) << made.errors;
    EXPECT_EQ(made.output, "the token is initialised with the label \"alice\"\nthe user PIN is set\n");
    const json status = answer({"status"});
    EXPECT_EQ(status.at("command"), "status");
    EXPECT_EQ(status.at("ok"), true);
    EXPECT_EQ(status.at("label"), "alice");
    EXPECT_EQ(status.at("state"), "ready");
    EXPECT_EQ(status.at("userPin"), "fine");
    EXPECT_THAT(other("softhsm2-util --show-slots"), HasSubstr("Label:            alice"));
}

TEST_F(CardCommands, aUsedTokenIsErasedOnlyWhenThatIsAskedForAndConfirmed) {
    ASSERT_EQ(initialised().status, 0);
    const Words again = {"init-token", "--token", "alice", "--label", "bob", "--so-pin", m_officer, "--new-pin", m_pin};
    Words erase = again;
    erase.emplace_back("--erase");
    for (const Words& words : {again, erase}) {
        Words alone = {"/usr/bin/setsid", "--wait"};
        const Words rest = command(words);
        alone.insert(alone.end(), rest.begin(), rest.end());
        const Outcome refused = run(alone, "", {{"SOFTHSM2_CONF", configuration()}});
        EXPECT_EQ(refused.status, 9);
        EXPECT_EQ(answer({"status"}).at("label"), "alice");
    }
    erase.emplace_back("--yes");
    EXPECT_EQ(host(erase).status, 0);
    EXPECT_EQ(answer({"status"}).at("label"), "bob");
}

TEST_F(CardCommands, thePinIsChangedAndUnlockedAndNotSetTwice) {
    ASSERT_EQ(initialised().status, 0);
    const std::string changed = "file:" + secretFile("new", "654321");
    EXPECT_EQ(host({"set-pin", "--so-pin", m_officer, "--new-pin", changed}).status, 9);
    EXPECT_EQ(withPin({"change-pin", "--new-pin", changed}).status, 0);
    const Outcome wrong = withPin({"objects"});
    EXPECT_EQ(wrong.status, 5);
    EXPECT_THAT(wrong.errors, HasSubstr("p11host: logging the user in on token \"alice\" failed: CKR_PIN_INCORRECT: "
                                        "the PIN is wrong (33006).\n  Nothing was changed. Do not guess"));
    EXPECT_EQ(host({"unlock-pin", "--so-pin", m_officer, "--new-pin", m_pin}).status, 0);
    EXPECT_EQ(withPin({"objects"}).status, 0);
    const std::string officer = "file:" + secretFile("newso", "87654321");
    EXPECT_EQ(host({"change-pin", "--so", "--so-pin", m_officer, "--new-pin", officer}).status, 0);
    EXPECT_EQ(host({"unlock-pin", "--so-pin", officer, "--new-pin", m_pin}).status, 0);
}

TEST_F(CardCommands, aTokenWithoutUserPinSaysSoAndGetsOne) {
    ASSERT_EQ(host({"init-token", "--label", "a", "--so-pin", m_officer, "--no-user-pin"}).status, 0);
    EXPECT_EQ(answer({"status"}).at("state"), "no-user-pin");
    EXPECT_EQ(host({"set-pin", "--so-pin", m_officer, "--new-pin", m_pin}).status, 0);
    EXPECT_EQ(answer({"status"}).at("state"), "ready");
}

TEST_F(CardCommands, aKeyIsGeneratedShownAndRemoved) {
    ASSERT_EQ(initialised().status, 0);
    const std::string pem = folder() + "/key.pem";
    const json made =
        answer({"generate-key", "--id", "a1", "--label", "mine", "--use", "sign", "--pin", m_pin, "--out", pem});
    EXPECT_EQ(made.at("id"), "A1");
    EXPECT_EQ(made.at("size"), 2048);
    EXPECT_THAT(other("openssl pkey -pubin -in " + pem + " -text -noout"), HasSubstr("Public-Key: (2048 bit)"));
    EXPECT_EQ(other("cat " + pem), made.at("publicKey").get<std::string>());
    const std::string seen = other(std::string("pkcs11-tool --module ") + SOFTHSM_MODULE +
                                   " --token-label alice --login --pin 123456 --list-objects");
    EXPECT_THAT(seen, HasSubstr("Private Key Object; RSA"));
    EXPECT_THAT(seen, HasSubstr("Usage:      sign\n"));
    EXPECT_THAT(seen, HasSubstr("Access:     sensitive, always sensitive, never extractable, local"));

    EXPECT_EQ(withPin({"generate-key", "--id", "A1"}).status, 9) << "the identifier is taken";
    EXPECT_EQ(answer({"objects"}).at("objects").size(), 1U) << "the private key is not seen without a login";
    const json objects = answer({"objects", "--pin", m_pin, "--id", "A1"}).at("objects");
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_EQ(answer({"objects", "--pin", m_pin, "--id", "A2"}).at("objects").size(), 0U);

    EXPECT_EQ(withPin({"remove", "--id", "A2", "--yes"}).status, 4);
    const json removed = answer({"remove", "--id", "A1", "--yes", "--pin", m_pin}).at("removed");
    EXPECT_EQ(removed.at("privateKeys"), 1);
    EXPECT_EQ(removed.at("publicKeys"), 1);
    EXPECT_EQ(removed.at("certificates"), 0);
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 0U);
}

TEST_F(CardCommands, theTokenIsChosenByOptionUriOrEnvironment) {
    ASSERT_EQ(initialised("alice").status, 0);
    ASSERT_EQ(initialised("bob").status, 0);
    const json several = answer({"status"}, 2);
    EXPECT_EQ(several.at("ok"), false);
    EXPECT_THAT(several.at("error").at("remedy").get<std::string>(), HasSubstr("--token \"bob\""));
    const json bob = answer({"status", "--token", "bob"});
    EXPECT_EQ(bob.at("label"), "bob");
    const std::string serial = bob.at("serial");
    const std::string reader = bob.at("reader");
    EXPECT_EQ(answer({"status", "--serial", serial}).at("label"), "bob");
    EXPECT_EQ(answer({"--reader", reader, "status"}).at("label"), "bob");
    EXPECT_EQ(answer({"status", "--uri", "pkcs11:token=bob;serial=" + serial}).at("label"), "bob");
    EXPECT_EQ(host({"status"}, {{"P11HOST_TOKEN", "bob"}}).status, 0);
    EXPECT_EQ(host({"status"}, {{"P11HOST_READER", reader}}).status, 0);
    EXPECT_EQ(host({"status"}, {{"P11HOST_URI", "pkcs11:token=nobody"}}).status, 7);
    EXPECT_EQ(host({"status", "--token", "bob"}, {{"P11HOST_TOKEN", "nobody"}}).status, 0) << "the command line wins";
    EXPECT_EQ(host({"status", "--token", "carol"}).status, 7);
}

TEST_F(CardCommands, pinsComeFromManyPlacesButNotFromTheCommandLine) {
    ASSERT_EQ(initialised().status, 0);
    EXPECT_EQ(host({"objects", "--pin", "env:CARD"}, {{"CARD", "123456"}}).status, 0);
    EXPECT_EQ(host({"objects", "--pin", "fd:0"}, {}, "123456\n").status, 0);
    const std::string program = folder() + "/show-pin";
    std::ofstream(program) << "#!/bin/sh\necho 123456\necho more\n";
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    EXPECT_EQ(host({"objects", "--pin", "command:" + program}).status, 0);
    std::ofstream(program) << "#!/bin/sh\necho 123456\nexit 3\n";
    const Outcome failed = host({"objects", "--pin", "command:" + program});
    EXPECT_EQ(failed.status, 2);
    EXPECT_THAT(failed.errors, HasSubstr("ended with status 3"));
    EXPECT_EQ(host({"objects", "--pin", "command:/no/such/program"}).status, 2);
    const Outcome plain = host({"objects", "--pin", "123456"});
    EXPECT_EQ(plain.status, 2);
    EXPECT_THAT(plain.errors, Not(HasSubstr("123456")));
    const std::string open = secretFile("open", "123456");
    std::filesystem::permissions(open, std::filesystem::perms::group_read, std::filesystem::perm_options::add);
    const Outcome shared = host({"objects", "--pin", "file:" + open});
    EXPECT_EQ(shared.status, 2);
    EXPECT_THAT(shared.errors, HasSubstr("open to others than its owner"));
}

TEST_F(CardCommands, aDryRunChangesNothing) {
    const Outcome plan = host({"init-token", "--label", "a", "--so-pin", m_officer, "--new-pin", m_pin, "--dry-run"});
    EXPECT_EQ(plan.status, 0) << plan.errors;
    EXPECT_EQ(plan.output, "Nothing was changed. These scripts would be called:\n"
                           "  init INIT_KEYID=SO INIT_KEY=(secret) LABEL=text:a\n"
                           "  initAuthenticator INIT_KEYID=SO INIT_KEY=(secret) PINID=USER PIN=(secret)\n");
    EXPECT_EQ(answer({"readers"}).at("readers").at(0).at("state"), "blank");
    const std::string tooShort = "file:" + secretFile("short", "1");
    EXPECT_EQ(host({"init-token", "--label", "a", "--so-pin", m_officer, "--new-pin", tooShort, "--dry-run"}).status,
              2);
}

TEST_F(CardCommands, aDryRunOfARemovalShowsTheScriptsOfTheRealOne) {
    ASSERT_EQ(initialised().status, 0);
    ASSERT_EQ(withPin({"generate-key", "--id", "01"}).status, 0);
    const Outcome plan = host({"remove", "--id", "01", "--dry-run"});
    EXPECT_EQ(plan.status, 0) << plan.errors;
    EXPECT_THAT(plan.output, HasSubstr("  removeData OBJ_TYPE=KEY_PAIR ID=hex:01\n"));
    EXPECT_THAT(plan.errors, HasSubstr("Private objects are not seen without a login"));
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 2U);
}

TEST_F(CardCommands, aFileThatCannotBeWrittenIsFoundBeforeAKeyIsMade) {
    ASSERT_EQ(initialised().status, 0);
    const Outcome refused = withPin({"generate-key", "--id", "01", "--out", folder() + "/no-such-folder/key.pem"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.errors, HasSubstr("cannot be written; name one in a folder of your own"));
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 0U);

    const std::string kept = secretFile("kept", "as it was");
    const std::string fresh = folder() + "/fresh";
    for (const std::string& file : {kept, fresh}) {
        EXPECT_EQ(withPin({"generate-key", "--id", "01", "--out", file, "--dry-run"}).status, 0);
    }
    EXPECT_EQ(other("cat " + kept), "as it was\n");
    EXPECT_FALSE(std::filesystem::exists(fresh));
}

TEST_F(CardCommands, aKeyWhoseFileCannotBeWrittenIsSaidToBeThere) {
    ASSERT_EQ(initialised().status, 0);
    const json failure = answer({"generate-key", "--id", "01", "--pin", m_pin, "--out", "/dev/full"}, 1);
    EXPECT_THAT(failure.at("error").at("remedy").get<std::string>(),
                HasSubstr("The key is on the token: \"p11host public-key --id 01\" gives its public key."));
    EXPECT_EQ(failure.at("done"), json({"the key pair 01 is on the token"}));
    EXPECT_EQ(host({"public-key", "--id", "01"}).status, 0);
}

TEST_F(CardCommands, everyFailureSaysWhatToDo) {
    const std::vector<std::pair<Words, int>> failures = {{{"generate-key", "--id", "1"}, 2},
                                                         {{"objects", "--last-try", "maybe"}, 2},
                                                         {{"objects", "--no-such-option"}, 2},
                                                         {{"objects", "--raw"}, 2},
                                                         {{"sign"}, 2},
                                                         {{"--plugin", "no-such-plugin", "readers"}, 3},
                                                         {{"status", "--token", "nobody"}, 7}};
    for (const auto& [words, status] : failures) {
        const json failure = answer(words, status);
        EXPECT_EQ(failure.at("ok"), false);
        EXPECT_NE(failure.at("error").at("reason"), "");
        EXPECT_NE(failure.at("error").at("remedy"), "") << words.front();
    }
    EXPECT_THAT(host({"generate-key", "--id", "1"}).errors,
                HasSubstr("\n  \"p11host generate-key --help\" shows what is right.\n"));
}

TEST_F(CardCommands, slipsOfScriptsThatDestroyedThingsLeaveTheTokenAsItWas) {
    ASSERT_EQ(initialised().status, 0);
    ASSERT_EQ(withPin({"generate-key", "--id", "01", "--label", "k01", "--size", "1024"}).status, 0);
    const std::string reader = answer({"status"}).at("reader");
    const json before = answer({"objects", "--pin", m_pin}).at("objects");
    const std::string pin = "PIN=text:123456";
    const std::string block = "ALGOID=1.2.840.113549.1.1.1";
    for (const Words& words :
         {Words{"removeData", pin, "OBJ_TYPE=CERTIFICATE"}, Words{"removeData", pin, "LABEL=k01"},
          Words{"removeData", pin, "id=hex:01"}, Words{"removeData", pin, "ID=base64:AQ=="},
          Words{"removeData", pin, "KEYID=hex:01"}, Words{"removeData", pin, "ID=hex:1"}, Words{"removeData", pin},
          Words{"signData", "PIN=123456", block, "KEYID=hex:01", "DATA=base64:AQ=="},
          Words{"authenticate", "AUTH_TYPE=STATIC", "PINID=USER", "PIN=1234"},
          Words{"changeAuthenticator", "PINID=USER", "OLD_PIN=text:123456", "NEW_PIN=654321"},
          Words{"recycle", "RECYCLE_KEYID=SO", "RECYCLE_KEY=12345678"}}) {
        Words slip = {"--reader", reader};
        slip.insert(slip.end(), words.begin(), words.end());
        const Outcome refused = host(slip);
        EXPECT_EQ(refused.status, 2) << words.front() << ": " << refused.output << refused.errors;
    }
    EXPECT_EQ(answer({"status"}).at("userPin"), "fine") << "a try was spent";
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects"), before);
}

TEST_F(CardCommands, slipsAreRefusedBeforeAnythingIsSent) {
    ASSERT_EQ(initialised().status, 0);
    const std::vector<Words> slips = {
        {"generate-key", "--id", "0x01"},
        {"generate-key", "--id", "1"},
        {"generate-key", "--id", ""},
        {"generate-key"},
        {"generate-key", "--id", "01", "--size", "4096"},
        {"generate-key", "--id", "01", "--use", "encrypt"},
        {"generate-key", "--id", "01", "--id", "02"},
        {"remove"},
        {"remove", "--all", "--id", "01"},
        {"remove", "--all", "--keys", "--certificates"},
        {"name-container", "--id", "01"},
        {"change-pin", "--so"},
        {"objects", "--last-try", "maybe"},
        {"objects", "--uri", "alice"},
    };
    for (Words words : slips) {
        const Outcome refused = withPin(words);
        EXPECT_EQ(refused.status, 2) << words.front() << ": " << refused.errors;
    }
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 0U);
    EXPECT_EQ(host({"init-token", "--label", std::string(33, 'x'), "--so-pin", m_officer, "--no-user-pin"}).status, 2);
}

} // namespace
} // namespace tests
