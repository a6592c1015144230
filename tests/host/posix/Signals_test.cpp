// SIGTERM and SIGHUP cut a script in two as an interrupt did; a second signal is to end the program at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

Words writeData(const std::string& milliseconds) {
    return {hostProgram(), "--plugin", doublePlugin(), "--module", "m", "--raw", "writeData", "SLEEP=" + milliseconds};
}

class Signals : public ::testing::TestWithParam<int> {};

TEST_P(Signals, endTheProgramBehindTheScript) {
    const File calls("");
    Child child(writeData("300"), {{"P11HOST_TEST_CALLS", calls.path()}});
    ASSERT_TRUE(waitFor(calls, "execute"));
    ASSERT_TRUE(child.interrupt(GetParam()));
    EXPECT_EQ(child.readAll(), "done\n");
    EXPECT_EQ(child.wait(), 128 + GetParam());
    EXPECT_THAT(calls.content(), EndsWith("terminate\nfreeInstance\n"));
}

INSTANTIATE_TEST_SUITE_P(All, Signals, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST(Signals, aSecondOneEndsTheProgramAtOnce) {
    const File calls("");
    Child child(writeData("600000"), {{"P11HOST_TEST_CALLS", calls.path()}});
    ASSERT_TRUE(waitFor(calls, "execute"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    ASSERT_TRUE(child.interrupt(SIGTERM));
    EXPECT_EQ(child.readAll(), "");
    EXPECT_EQ(child.wait(), 128 + SIGTERM);
    EXPECT_THAT(calls.content(), Not(HasSubstr("terminate")));
}

TEST(Signals, whatTheParentIgnoresStaysIgnored) {
    const File calls("");
    Words arguments = {"/bin/sh", "-c", "trap '' INT; exec \"$0\" \"$@\""};
    for (const std::string& word : writeData("300")) {
        arguments.push_back(word);
    }
    Child child(arguments, {{"P11HOST_TEST_CALLS", calls.path()}});
    ASSERT_TRUE(waitFor(calls, "execute"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    EXPECT_EQ(child.readAll(), "done\n");
    EXPECT_EQ(child.wait(), 0);
}

} // namespace
} // namespace tests
