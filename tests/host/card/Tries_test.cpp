// PINs with one try left or none, and tokens that fail half-way, seen by p11host as a process of its own. The scripted
// module plays the token, so that this is the same on both systems. Nobody is asked: what a person answers is tested on
// a terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/host/Child.h"

namespace tests {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// What p11host answers with --json to a token that stands like this.
struct Answer {
    json line;
    int status;
    std::string trace;
};

Answer answer(const std::string& token, const Words& words) {
    const File trace("");
    Words arguments = {hostProgram(), "--module", beside(SCRIPTED_MODULE), "--json", "--trace", trace.path()};
    arguments.insert(arguments.end(), words.begin(), words.end());
    const Outcome outcome = run(arguments, "",
                                {{"P11HOST_TEST_TOKEN", token},
                                 {"P11HOST_TEST_PIN", "1234"},
                                 {"P11HOST_TEST_SO", "12345678"},
                                 {"P11HOST_TEST_NEW", "4321"}});
    const json line = json::parse(outcome.output, nullptr, false);
    EXPECT_FALSE(line.is_discarded()) << outcome.output << outcome.errors;
    return {line, outcome.status, trace.content()};
}

const Words kSignedIn = {"objects", "--pin", "env:P11HOST_TEST_PIN"};
const Words kUnlock = {"unlock-pin", "--so-pin", "env:P11HOST_TEST_SO", "--new-pin", "env:P11HOST_TEST_NEW"};

std::string stateOf(const std::string& token) {
    return answer(token, {"readers"}).line.at("readers").at(0).at("state");
}

TEST(Tries, areShown) {
    EXPECT_EQ(stateOf(""), "ready");
    EXPECT_EQ(stateOf("user=1"), "last-try");
    EXPECT_EQ(stateOf("user=0"), "user-pin-locked");
    EXPECT_EQ(stateOf("so=0"), "so-pin-locked");
    EXPECT_EQ(stateOf("blank"), "blank");
}

TEST(Tries, theLastOneIsNotSpentWithoutAYes) {
    const Answer stopped = answer("user=1", with(kSignedIn, {"--last-try", "stop"}));
    EXPECT_EQ(stopped.status, 9);
    EXPECT_THAT(stopped.line.at("error").at("reason").get<std::string>(),
                HasSubstr("one try is left; no PIN was sent"));
    EXPECT_THAT(stopped.trace, Not(HasSubstr("C_Login")));
    const Answer sent = answer("user=1", with(kSignedIn, {"--last-try", "go"}));
    EXPECT_EQ(sent.status, 0);
    EXPECT_THAT(sent.trace, HasSubstr("C_Login"));
    const Answer officer = answer("so=1", with(kUnlock, {"--last-try", "stop"}));
    EXPECT_EQ(officer.status, 9);
    EXPECT_THAT(officer.trace, Not(HasSubstr("C_Login")));
}

TEST(Tries, aLockedPinIsNotSentAndTheRemedyIsNamed) {
    const Answer locked = answer("user=0", with(kSignedIn, {"--last-try", "go"}));
    EXPECT_EQ(locked.status, 6);
    EXPECT_THAT(locked.line.at("error").at("remedy").get<std::string>(), HasSubstr("p11host unlock-pin"));
    EXPECT_THAT(locked.trace, Not(HasSubstr("C_Login")));
    EXPECT_EQ(answer("user=0", kUnlock).status, 0);
    EXPECT_EQ(answer("user=0 so=0", kUnlock).status, 6);
}

TEST(HalfWay, whatIsDoneAndWhatIsNotIsSaid) {
    const Answer failed = answer("blank C_InitPIN=0x30", {"init-token", "--label", "fresh", "--so-pin",
                                                          "env:P11HOST_TEST_SO", "--new-pin", "env:P11HOST_TEST_NEW"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.line.at("error").at("result"), "CKR_DEVICE_ERROR");
    EXPECT_EQ(failed.line.at("done"), json({"the token is initialised with the label \"fresh\""}));
    EXPECT_EQ(failed.line.at("notDone"), json({"the user PIN is set"}));
    EXPECT_THAT(failed.line.at("error").at("remedy").get<std::string>(),
                HasSubstr("\"p11host set-pin\" then sets the user PIN."));
}

TEST(HalfWay, nothingIsListedBeforeTheFirstStepIsDone) {
    const Answer failed =
        answer("blank C_InitToken=0x30", {"init-token", "--label", "fresh", "--so-pin", "env:P11HOST_TEST_SO",
                                          "--new-pin", "env:P11HOST_TEST_NEW"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.line.at("done"), IsEmpty());
    EXPECT_THAT(failed.line.at("notDone"), IsEmpty());
}

TEST(FullToken, isFoundBeforeAKeyIsGenerated) {
    const Words generate = {"generate-key", "--id", "01", "--pin", "env:P11HOST_TEST_PIN"};
    for (const Words& words : {generate, with(generate, {"--dry-run"})}) {
        const Answer full = answer("memory=100", words);
        EXPECT_EQ(full.status, 1);
        EXPECT_THAT(full.line.at("error").at("reason").get<std::string>(), HasSubstr("it has 100 bytes left"));
        EXPECT_THAT(full.trace, Not(HasSubstr("C_Login")));
    }
    EXPECT_EQ(answer("memory=65536", generate).status, 0);
}

TEST(Tries, areExplainedByTheDoctor) {
    const Answer last = answer("user=1", {"doctor"});
    EXPECT_EQ(last.status, 0);
    EXPECT_THAT(last.line.at("findings").dump(), HasSubstr("has one try left: the next wrong one locks it"));
    const Answer locked = answer("user=0", {"doctor"});
    EXPECT_EQ(locked.status, 1);
    EXPECT_EQ(locked.line.at("verdict"), "faults");
    EXPECT_THAT(locked.line.at("findings").dump(), HasSubstr("is locked"));
}

} // namespace
} // namespace tests
