// What only shows on a terminal, or through a descriptor that is handed down.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

class Terminal : public ::testing::Test {
protected:
    void SetUp() override {
        int terminal = -1;
        int program = -1;
        if (::openpty(&terminal, &program, nullptr, nullptr, nullptr) != 0) {
            GTEST_SKIP() << "no pseudo-terminal can be opened here";
        }
        ::close(terminal);
        ::close(program);
    }
};

/// Runs the host with a terminal as its controlling one and as all three standard streams; `answer` is typed when
/// `question` has appeared. Returns what the terminal showed.
std::string onTerminal(Words arguments, const std::string& question = "", const std::string& answer = "") {
    int terminal = -1;
    const pid_t process = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        std::vector<char*> words;
        for (std::string& argument : arguments) {
            words.push_back(argument.data());
        }
        words.push_back(nullptr);
        ::execv(words[0], words.data());
        ::_exit(127);
    }
    std::string shown;
    bool answered = question.empty();
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(terminal, bytes, sizeof bytes)) > 0;) {
        shown.append(bytes, static_cast<std::size_t>(count));
        if (!answered && shown.find(question) != std::string::npos) {
            answered = true;
            EXPECT_EQ(::write(terminal, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
        }
    }
    ::close(terminal);
    int status = 0;
    ::waitpid(process, &status, 0);
    return shown + "status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
}

Words sign(const Words& more) {
    Words arguments = {hostProgram(), "--plugin", doublePlugin(), "--module", "m", "--raw", "writeData"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST_F(Terminal, aPromptReadsWithoutEcho) {
    const std::string shown = onTerminal(sign({"--json", "PIN=prompt:"}), "PIN: ", "7531\n");
    EXPECT_THAT(shown, HasSubstr("{\"id\":\"PIN\",\"encoding\":4,\"type\":0,\"value\":\"37353331\"}"));
    EXPECT_THAT(shown, HasSubstr("status 0"));
    EXPECT_THAT(shown, Not(HasSubstr("7531")));
}

TEST_F(Terminal, aQuestionStandsThereOnceAndHasOneColon) {
    const std::string shown = onTerminal(sign({"PIN=prompt:Your PIN:"}), "PIN: ", "7531\n");
    EXPECT_THAT(shown, HasSubstr("Your PIN: "));
    EXPECT_EQ(shown.find("Your PIN"), shown.rfind("Your PIN"));
    EXPECT_THAT(shown, Not(HasSubstr("::")));
}

TEST_F(Terminal, anInterruptAtThePromptSaysThatTheTokenIsAsItWas) {
    EXPECT_THAT(onTerminal(sign({"PIN=prompt:"}), "PIN: ", "12\x03"),
                HasSubstr("p11host: interrupted before \"writeData\" was begun; the token is as it was"));
}

TEST_F(Terminal, anInterruptAtThePromptEndsTheProgram) {
    const std::string shown = onTerminal(sign({"PIN=prompt:"}), "PIN: ", "12\x03");
    EXPECT_THAT(shown, HasSubstr("status 130"));
    EXPECT_THAT(shown, Not(HasSubstr("12")));
    EXPECT_THAT(shown, HasSubstr("PIN: \r\np11host: interrupted"));
}

TEST_F(Terminal, aSlowOperationTurnsASpinnerAndCleansItUp) {
    Words arguments = sign({"SLEEP=1200"});
    arguments.insert(arguments.begin(), {"/usr/bin/env", "TERM=xterm"});
    const std::string shown = onTerminal(arguments);
    // How often it turns and which second it shows depends on what else the machine does.
    EXPECT_THAT(shown, ContainsRegex("\r[-|/\\\\] writing to the token, [0-9]+ s"));
    EXPECT_THAT(shown, HasSubstr("\r                           \r"));
}

TEST_F(Terminal, aDumbOneShowsNoSpinner) {
    Words arguments = sign({"SLEEP=1200"});
    arguments.insert(arguments.begin(), {"/usr/bin/env", "TERM=dumb"});
    EXPECT_THAT(onTerminal(arguments), Not(HasSubstr("writing to the token")));
}

TEST(Descriptors, withoutATerminalAPromptIsRefusedAndSaysWhatToDo) {
    // A session of its own has no controlling terminal.
    Words arguments = sign({"PIN=prompt:"});
    arguments.insert(arguments.begin(), "/usr/bin/setsid");
    arguments.insert(arguments.begin() + 1, "--wait");
    const Outcome refused = run(arguments);
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.errors, HasSubstr("p11host: argument 1: PIN: no answer from a terminal"));
}

TEST(Descriptors, aSecretComesFromAnOpenDescriptor) {
    const File secret("geheim\n");
    const int descriptor = ::open(secret.path().c_str(), O_RDONLY);
    const Outcome fine = run(sign({"--json", "PIN=fd:" + std::to_string(descriptor)}));
    ::close(descriptor);
    EXPECT_EQ(fine.status, 0);
    EXPECT_THAT(fine.output, HasSubstr("{\"id\":\"PIN\",\"encoding\":4,\"type\":0,\"value\":\"67656865696D\"}"));
}

TEST(Descriptors, aClosedStandardOutputIsAFailureAndNotASignal) {
    const Outcome closed = run({"/bin/sh", "-c", "exec \"$0\" \"$@\" >&-", hostProgram(), "scripts"});
    EXPECT_EQ(closed.status, 1);
    EXPECT_EQ(closed.errors, "p11host: cannot write the result to standard output\n");
    const Outcome full = run({"/bin/sh", "-c", "exec \"$0\" \"$@\" >/dev/full", hostProgram(), "scripts"});
    EXPECT_EQ(full.status, 1);
}

} // namespace
} // namespace tests
