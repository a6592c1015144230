// Card commands in front of a person: questions, repeats, and what is not shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/posix/SoftTokenFolder.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// What appears, and what is then typed.
struct Turn {
    std::string question;
    std::string answer;
};

class CardTerminal : public SoftTokenFolder {
protected:
    void SetUp() override {
        SoftTokenFolder::SetUp();
        int terminal = -1;
        int program = -1;
        if (!IsSkipped() && ::openpty(&terminal, &program, nullptr, nullptr, nullptr) != 0) {
            GTEST_SKIP() << "no pseudo-terminal can be opened here";
        }
        ::close(terminal);
        ::close(program);
    }

    /// Types the answers to all questions that are there, from the one with this number on; the number of the next one.
    static std::size_t answer(int terminal, const std::string& shown, const std::vector<Turn>& turns, std::size_t next,
                              std::size_t& from) {
        for (std::size_t found = 0; next < turns.size(); ++next) {
            found = shown.find(turns[next].question, from);
            if (found == std::string::npos) {
                break;
            }
            from = found + turns[next].question.size();
            const std::string& typed = turns[next].answer;
            EXPECT_EQ(::write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
        }
        return next;
    }

    /// Runs the host with a terminal; returns what it showed and the status.
    [[nodiscard]] std::string onTerminal(const Words& words, const std::vector<Turn>& turns) const {
        Words arguments = command(words);
        int terminal = -1;
        const pid_t process = ::forkpty(&terminal, nullptr, nullptr, nullptr);
        if (process == 0) {
            ::setenv("SOFTHSM2_CONF", configuration().c_str(), 1);
            std::vector<char*> pointers;
            for (std::string& argument : arguments) {
                pointers.push_back(argument.data());
            }
            pointers.push_back(nullptr);
            ::execv(pointers[0], pointers.data());
            ::_exit(127);
        }
        std::string shown;
        std::size_t from = 0;
        std::size_t next = 0;
        char bytes[4096];
        for (ssize_t count = 0; (count = ::read(terminal, bytes, sizeof bytes)) > 0;) {
            shown.append(bytes, static_cast<std::size_t>(count));
            next = answer(terminal, shown, turns, next, from);
        }
        ::close(terminal);
        int status = 0;
        ::waitpid(process, &status, 0);
        EXPECT_EQ(next, turns.size()) << "not every question came:\n" << shown;
        return shown + "status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    }
};

TEST_F(CardTerminal, asksForNewPinsTwiceAndSaysWhoseTheyAre) {
    const std::string shown = onTerminal({"init-token", "--label", "alice"},
                                         {{"New security officer's PIN of the blank token in reader", "87654321\n"},
                                          {"The same again: ", "87654321\n"},
                                          {"New user PIN of the blank token", "24681\n"},
                                          {"The same again: ", "24682\n"},
                                          {"the two entries differ", ""},
                                          {"New user PIN", "24\n"},
                                          {"The same again: ", "24\n"},
                                          {"the token takes 4 to 255", ""},
                                          {"New user PIN", "24681\n"},
                                          {"The same again: ", "24681\n"}});
    EXPECT_THAT(shown, HasSubstr("the user PIN is set"));
    EXPECT_THAT(shown, HasSubstr("status 0"));
    EXPECT_THAT(shown, Not(HasSubstr("2468")));
    EXPECT_THAT(shown, Not(HasSubstr("8765")));
    const std::string logged =
        onTerminal({"objects", "--pin", "prompt"}, {{"User PIN of token \"alice\": ", "24681\n"}});
    EXPECT_THAT(logged, HasSubstr("status 0"));
}

TEST_F(CardTerminal, asksBeforeItErasesAndTakesNothingButYesForYes) {
    const std::string officer = "file:" + secretFile("so", "12345678");
    ASSERT_EQ(host({"init-token", "--label", "alice", "--so-pin", officer, "--no-user-pin"}).status, 0);
    const Words erase = {"init-token", "--label", "bob", "--erase", "--so-pin", officer, "--no-user-pin"};
    for (const char* no : {"\n", "n\n", "yesno\n"}) {
        const std::string shown = onTerminal(erase, {{"Destroy everything on token \"alice\"", no}});
        EXPECT_THAT(shown, HasSubstr("status 9")) << no;
        EXPECT_THAT(shown, HasSubstr("the answer was not yes; nothing was changed"));
    }
    EXPECT_THAT(onTerminal(erase, {{"[y/N] ", "yes\n"}}), HasSubstr("status 0"));
}

TEST_F(CardTerminal, anInterruptAtAQuestionEndsTheProgram) {
    const std::string officer = "file:" + secretFile("so", "12345678");
    ASSERT_EQ(host({"init-token", "--label", "alice", "--so-pin", officer, "--no-user-pin"}).status, 0);
    const std::string shown = onTerminal({"set-pin", "--so-pin", officer}, {{"New user PIN", "12\x03"}});
    EXPECT_THAT(shown, HasSubstr("status 130"));
    EXPECT_THAT(shown, HasSubstr("p11host: interrupted before anything was changed; the token is as it was"));
    EXPECT_THAT(host({"status", "--json"}).output, HasSubstr("\"state\":\"no-user-pin\""));
}

} // namespace
} // namespace tests
