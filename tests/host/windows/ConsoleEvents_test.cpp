// What the console sends, beside what is tested on both systems: Ctrl-Break, and a second event.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

/// A script that lasts until `held` is written to, and as long as an event may take to arrive.
Words writeData(const File& held) {
    return {hostProgram(), "--plugin",  doublePlugin(),        "--module", "m",
            "--raw",       "writeData", "HOLD=" + held.path(), "SLEEP=500"};
}

TEST(ConsoleEvents, ctrlBreakLetsTheScriptEnd) {
    const File calls("");
    const File held("");
    Child child(writeData(held), {{"P11HOST_TEST_CALLS", calls.path()}}, Child::Console::Own);
    ASSERT_TRUE(waitFor(calls, "execute"));
    if (!child.interrupt(SIGBREAK)) {
        GTEST_SKIP() << "Ctrl-Break cannot be sent here; Wine does not know it";
    }
    held.append("on");
    EXPECT_EQ(child.readAll(), "done\n");
    EXPECT_EQ(child.wait(), 130);
    EXPECT_THAT(calls.content(), EndsWith("terminate\nfreeInstance\n"));
}

TEST(ConsoleEvents, aSecondOneEndsTheProgramAtOnce) {
    const File calls("");
    const File held("");
    Child child(writeData(held), {{"P11HOST_TEST_CALLS", calls.path()}}, Child::Console::Own);
    ASSERT_TRUE(waitFor(calls, "execute"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    ASSERT_TRUE(child.interrupt(SIGINT));
    EXPECT_EQ(child.readAll(), "");
    EXPECT_EQ(child.wait(), 130);
    EXPECT_THAT(calls.content(), Not(HasSubstr("terminate")));
}

} // namespace
} // namespace tests
