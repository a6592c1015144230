// What only shows on a terminal, or through a descriptor that is handed down.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include "tests/host/posix/OnTerminal.h"

namespace tests {
namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class Terminal : public ::testing::Test {
protected:
    void SetUp() override {
        if (!hasTerminals()) {
            GTEST_SKIP() << "no pseudo-terminal can be opened here";
        }
    }
};

Words signOnTerminal(const Words& more) {
    Words arguments = {hostProgram(), "--plugin", doublePlugin(), "--module", "m", "--raw", "writeData"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST_F(Terminal, aPromptReadsWithoutEchoWhateverSizeTheTerminalGets) {
    const TerminalOutcome outcome =
        runOnTerminal(signOnTerminal({"--json", "PIN=prompt:"}), {{"PIN: ", "7531\n", true}});
    const std::string& shown = outcome.shown;
    EXPECT_THAT(outcome.echoes, ElementsAre(false));
    EXPECT_TRUE(outcome.isRestored);
    EXPECT_THAT(shown, HasSubstr("{\"id\":\"PIN\",\"encoding\":4,\"type\":0,\"value\":\"37353331\"}"));
    EXPECT_THAT(shown, HasSubstr("status 0"));
    EXPECT_THAT(shown, Not(HasSubstr("7531")));
}

TEST_F(Terminal, aQuestionStandsThereOnceAndHasOneColon) {
    const std::string shown = runOnTerminal(signOnTerminal({"PIN=prompt:Your PIN:"}), {{"PIN: ", "7531\n"}}).shown;
    EXPECT_THAT(shown, HasSubstr("Your PIN: "));
    EXPECT_EQ(shown.find("Your PIN"), shown.rfind("Your PIN"));
    EXPECT_THAT(shown, Not(HasSubstr("::")));
}

TEST_F(Terminal, anInterruptAtThePromptSaysThatTheTokenIsAsItWas) {
    EXPECT_THAT(runOnTerminal(signOnTerminal({"PIN=prompt:"}), {{"PIN: ", "12\x03"}}).shown,
                HasSubstr("p11host: interrupted before \"writeData\" was begun; the token is as it was"));
}

TEST_F(Terminal, anInterruptAtThePromptEndsTheProgram) {
    const TerminalOutcome outcome = runOnTerminal(signOnTerminal({"PIN=prompt:"}), {{"PIN: ", "12\x03"}});
    const std::string& shown = outcome.shown;
    EXPECT_TRUE(outcome.isRestored) << "the terminal stays without echo";
    EXPECT_THAT(shown, HasSubstr("status 130"));
    EXPECT_THAT(shown, Not(HasSubstr("12")));
    EXPECT_THAT(shown, HasSubstr("PIN: \r\np11host: interrupted"));
}

TEST_F(Terminal, aSlowOperationTurnsASpinnerAndCleansItUp) {
    const std::string shown = runOnTerminal(signOnTerminal({"SLEEP=1200"}), {}, {{"TERM", "xterm"}}).shown;
    // How often it turns and which second it shows depends on what else the machine does.
    EXPECT_THAT(shown, ContainsRegex("\r[-|/\\\\] writing to the token, [0-9]+ s"));
    EXPECT_THAT(shown, HasSubstr("\r                           \r"));
}

TEST_F(Terminal, aDumbOneShowsNoSpinner) {
    EXPECT_THAT(runOnTerminal(signOnTerminal({"SLEEP=1200"}), {}, {{"TERM", "dumb"}}).shown,
                Not(HasSubstr("writing to the token")));
}

TEST(Descriptors, withoutATerminalAPromptIsRefusedAndSaysWhatToDo) {
    // A session of its own has no controlling terminal.
    Words arguments = signOnTerminal({"PIN=prompt:"});
    arguments.insert(arguments.begin(), "/usr/bin/setsid");
    arguments.insert(arguments.begin() + 1, "--wait");
    const Outcome refused = run(arguments);
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.errors, HasSubstr("p11host: argument 1: PIN: no answer from a terminal"));
}

TEST(Descriptors, aSecretComesFromAnOpenDescriptor) {
    const File secret("geheim\n");
    const int descriptor = ::open(secret.path().c_str(), O_RDONLY);
    const Outcome fine = run(signOnTerminal({"--json", "PIN=fd:" + std::to_string(descriptor)}));
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
