// SIGTERM and SIGHUP cut a script in two as an interrupt did; a second signal is to end the program at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <unistd.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

/// A script that lasts until `held` is written to, and as long as a signal may take to arrive.
Words writeData(const File& held) {
    return {hostProgram(), "--plugin",  doublePlugin(),        "--module", "m",
            "--raw",       "writeData", "HOLD=" + held.path(), "SLEEP=500"};
}

class Signals : public ::testing::TestWithParam<int> {};

TEST_P(Signals, endTheProgramBehindTheScript) {
    const File calls("");
    const File held("");
    Child child(writeData(held), {{"P11HOST_TEST_CALLS", calls.path()}});
    ASSERT_TRUE(waitFor(calls, "execute"));
    ASSERT_TRUE(child.interrupt(GetParam()));
    held.append("on");
    EXPECT_EQ(child.readAll(), "done\n");
    EXPECT_EQ(child.wait(), 128 + GetParam());
    EXPECT_THAT(calls.content(), EndsWith("terminate\nfreeInstance\n"));
}

INSTANTIATE_TEST_SUITE_P(All, Signals, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST(Signals, aSecondOneEndsTheProgramAtOnce) {
    const File calls("");
    const File held("");
    Child child(writeData(held), {{"P11HOST_TEST_CALLS", calls.path()}});
    ASSERT_TRUE(waitFor(calls, "execute"));
    // Two that come at the same time count as one, and how soon the first is seen depends on the machine.
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(child.interrupt(SIGTERM));
        ::usleep(20000);
    }
    EXPECT_EQ(child.readAll(), "");
    EXPECT_EQ(child.wait(), 128 + SIGTERM);
    EXPECT_THAT(calls.content(), Not(HasSubstr("terminate")));
}

TEST(Signals, whatTheParentIgnoresStaysIgnored) {
    const File calls("");
    const File held("");
    Words arguments = {"/bin/sh", "-c", "trap '' INT; exec \"$0\" \"$@\""};
    for (const std::string& word : writeData(held)) {
        arguments.push_back(word);
    }
    Child child(arguments, {{"P11HOST_TEST_CALLS", calls.path()}});
    ASSERT_TRUE(waitFor(calls, "execute"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    held.append("on");
    EXPECT_EQ(child.readAll(), "done\n");
    EXPECT_EQ(child.wait(), 0);
}

} // namespace
} // namespace tests
