// Readers that cannot be named by their description alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// A module with two readers "Reader One" and one whose name is no UTF-8.
Outcome odd(const Words& words, const Environment& environment = {}) {
    Words arguments = {hostProgram(), "--plugin", doublePlugin(), "--module", "odd"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return run(arguments, "", environment);
}

TEST(ReaderNames, theFirstOfOneNameCanBeChosenAndTheSecondIsRefused) {
    for (const char* name : {"Reader One", "Reader One#1"}) {
        EXPECT_EQ(odd({"--reader", name, "--raw", "writeData"}).status, 0) << name;
    }
    const File calls("");
    const Outcome second =
        odd({"--reader", "Reader One#2", "--raw", "writeData"}, {{"P11HOST_TEST_CALLS", calls.path()}});
    EXPECT_EQ(second.status, 2);
    EXPECT_THAT(second.errors, HasSubstr("p11host: reader \"Reader One#2\" cannot be chosen: the plug-in finds"));
    EXPECT_THAT(calls.content(), Not(HasSubstr("writeData")));
    EXPECT_EQ(odd({"--reader", "Reader One#3", "--raw", "writeData"}).status, 1);
}

TEST(ReaderNames, aNameThatIsNoTextIsGivenAsItIsShown) {
    EXPECT_EQ(odd({"--reader", "FFFE", "--raw", "writeData"}).status, 0);
    EXPECT_EQ(odd({"--reader", "FFFF", "--raw", "writeData"}).status, 1);
}

TEST(ReaderNames, platformIdentifiersOfAChosenReaderNeedNoSecondName) {
    const File calls("");
    const Outcome identity =
        odd({"--reader", "Reader One", "getPlatformIdentifiers"}, {{"P11HOST_TEST_CALLS", calls.path()}});
    EXPECT_EQ(identity.status, 0);
    EXPECT_EQ(identity.output, "SMOID: 123\nLABEL: mine\n");
    EXPECT_EQ(calls.content(), "newInstance DLLNAME=odd\ninitialize null null\n"
                               "execute 0 client.p11.Larkspur getPlatformIdentifiers 1\nterminate\nfreeInstance\n");
}

} // namespace
} // namespace tests
