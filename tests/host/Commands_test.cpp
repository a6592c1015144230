#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

Outcome host(const Words& words, const Environment& environment = {}) {
    Words arguments = {hostProgram(), "--plugin", doublePlugin(), "--module", "m"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return run(arguments, "", environment);
}

/// The plug-in of the tests has parameters of its own.
Outcome raw(Words words, const Environment& environment = {}) {
    words.insert(words.begin(), "--raw");
    return host(words, environment);
}

TEST(Commands, whatAPluginPrintsGoesToStandardErrorAndResultsStayWhole) {
    const Outcome fine = raw({"writeData", "SIGNEDDATA=base64:AQI="});
    EXPECT_EQ(fine.status, 0);
    EXPECT_EQ(fine.output, "SIGNEDDATA: AQI=\n");
    EXPECT_THAT(fine.errors, HasSubstr("noise: newInstance"));
}

TEST(Commands, aScriptRunsInsideOneLifeCycle) {
    const File calls("");
    EXPECT_EQ(raw({"writeData", "A=b"}, {{"P11HOST_TEST_CALLS", calls.path()}}).status, 0);
    EXPECT_EQ(calls.content(), "newInstance DLLNAME=m\ninitialize null null\n"
                               "execute 0 client.p11.Larkspur writeData 1\nterminate\nfreeInstance\n");
}

TEST(Commands, noArgumentsAreNoParameterVector) {
    const File calls("");
    EXPECT_EQ(raw({"removeData"}, {{"P11HOST_TEST_CALLS", calls.path()}}).output, "done\n");
    EXPECT_THAT(calls.content(), HasSubstr("removeData null\n"));
}

TEST(Commands, theReaderIsChosenFirstOnTheSameExecutor) {
    const File calls("");
    EXPECT_EQ(raw({"--reader", "Reader One", "writeData"}, {{"P11HOST_TEST_CALLS", calls.path()}}).status, 0);
    EXPECT_EQ(calls.content(), "newInstance DLLNAME=m\ninitialize null null\n"
                               "execute 0 client.p11.Larkspur getPlatformIdentifiers 1\n"
                               "execute 0 client.p11.Larkspur writeData null\nterminate\nfreeInstance\n");
}

TEST(Commands, aReaderWithoutTokenKeepsTheCommandFromRunning) {
    const File calls("");
    const Outcome failed = raw({"--reader", "a/b", "writeData"}, {{"P11HOST_TEST_CALLS", calls.path()}});
    EXPECT_EQ(failed.status, 7);
    EXPECT_EQ(failed.output, "");
    EXPECT_THAT(failed.errors, HasSubstr("p11host: getPlatformIdentifiers failed: there is no token in the reader"));
    EXPECT_THAT(calls.content(), Not(HasSubstr("writeData")));
}

TEST(Commands, thePrefixIsACreationParameter) {
    const File calls("");
    EXPECT_EQ(host({"--reader-prefix", "P:", "getCardState"}, {{"P11HOST_TEST_CALLS", calls.path()}}).status, 0);
    EXPECT_THAT(calls.content(), HasSubstr("newInstance DLLNAME=m readerPrefix=P:\n"));
}

struct Case {
    const char* code;
    int status;
};

class Statuses : public ::testing::TestWithParam<Case> {};

TEST_P(Statuses, followTheCode) {
    const Outcome result = raw({"writeData", std::string("ANSWER=") + GetParam().code});
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.output, GetParam().status == 0 ? "done\n" : "");
    EXPECT_EQ(result.errors.find("p11host: writeData failed: ") != std::string::npos, GetParam().status != 0);
}

INSTANTIATE_TEST_SUITE_P(All, Statuses,
                         ::testing::Values(Case{"0", 0}, Case{"80f5", 1}, Case{"80f3", 4}, Case{"80ee", 5},
                                           Case{"80ef", 6}, Case{"80ea", 7}, Case{"80eb", 7}, Case{"80ec", 8},
                                           Case{"nonsense", 1}, Case{"", 1}));

TEST(Commands, aFailureSaysWhatHappenedAndWhatToDo) {
    const Outcome failed = raw({"writeData", "ANSWER=80f3"});
    EXPECT_THAT(
        failed.errors,
        HasSubstr("p11host: writeData failed: object or key not found (33011).\n  Identifiers and labels must"));
}

TEST(Commands, outputsOfAFailureAreShown) {
    const Outcome failed = raw({"authenticate", "ANSWER=80ee", "LEFTPINTRY=1"});
    EXPECT_EQ(failed.status, 5);
    EXPECT_EQ(failed.output, "LEFTPINTRY: 1 (the next wrong PIN locks it)\n");
}

TEST(Commands, anExceptionHasTheStatusOfItsCodeOrStatusOne) {
    const Outcome thrown = raw({"writeData", "THROW=client"});
    EXPECT_EQ(thrown.status, 8) << "a bad PINID is a bad parameter";
    EXPECT_EQ(raw({"writeData", "THROW=range"}).status, 1);
    EXPECT_THAT(thrown.errors, HasSubstr("p11host: writeData failed: Bad parameter PINID: x (33004), thrown as "
                                         "ClientOperationException.\n"));
    EXPECT_EQ(raw({"--json", "writeData", "THROW=range"}).output,
              "{\"script\":\"writeData\",\"exception\":{\"type\":\"std::out_of_range\",\"code\":null,"
              "\"message\":\"Position exceeds \xEF\xBF\xBD\"}}\n");
    EXPECT_EQ(raw({"writeData", "THROW=number"}).status, 1);
}

TEST(Commands, successWithoutTheSignatureIsNoSuccess) {
    const Outcome unsigned_ = raw({"signData", "A=b"});
    EXPECT_EQ(unsigned_.status, 1);
    EXPECT_EQ(unsigned_.output, "A: b\n");
    EXPECT_THAT(unsigned_.errors,
                HasSubstr("p11host: signData failed: the plug-in reports success but gave no result.\n"));
    EXPECT_EQ(raw({"signData", "SIGNEDDATA=base64:AQI="}).output, "SIGNEDDATA: AQI=\n");
}

TEST(Commands, noResponseIsStatusOne) {
    const Outcome nothing = raw({"--json", "writeData", "NULL=1"});
    EXPECT_EQ(nothing.status, 1);
    EXPECT_EQ(nothing.output, "{\"script\":\"writeData\",\"response\":null}\n");
}

TEST(Commands, aLoneSurrogateDoesNotBreakTheJson) {
    EXPECT_THAT(raw({"--json", "writeData", "LONE=1"}).output,
                HasSubstr("{\"id\":\"LONE\",\"encoding\":2,\"type\":3,\"value\":\"<\xEF\xBF\xBD>\"}"));
}

TEST(Commands, aPluginWithoutExecutorIsStatusThree) {
    const Outcome none = run({hostProgram(), "--plugin", doublePlugin(), "--module", "missing", "readers"});
    EXPECT_EQ(none.status, 3);
    EXPECT_THAT(none.errors, HasSubstr("the plug-in gave no executor for the module \"missing\""));
    const Outcome unready = run({hostProgram(), "--plugin", doublePlugin(), "--module", "unready", "readers"});
    EXPECT_EQ(unready.status, 3);
    EXPECT_THAT(unready.errors, HasSubstr("the module \"unready\" was loaded but cannot be used"));
}

TEST(Commands, aPluginThatCannotBeLoadedIsStatusThree) {
    const Outcome none = run({hostProgram(), "--plugin", "no-such-plugin", "--module", "m", "readers"});
    EXPECT_EQ(none.status, 3);
    EXPECT_THAT(none.errors, HasSubstr("p11host: cannot load the plug-in \"no-such-plugin\""));
}

TEST(Commands, infoShowsTheIdentity) {
    EXPECT_EQ(host({"info"}).output, "version: 9.8.7.6\ntype: client.p11.Larkspur\nname: double\n"
                                     "description: Library Name=double; Manufacturer ID=tests\nvalidate: yes\n"
                                     "isLocal: yes\nsupportedScripts: echo, signData\n");
    EXPECT_EQ(host({"info", "--json"}).output,
              "{\"version\":\"9.8.7.6\",\"type\":\"client.p11.Larkspur\",\"name\":\"double\",\"description\":\"Library "
              "Name=double\\nManufacturer ID=tests\",\"validate\":true,\"isLocal\":true,\"supportedScripts\":[\"echo\","
              "\"signData\"]}\n");
}

TEST(Commands, hexadecimalTextIsShownReadableWithoutOrdersToTheTerminal) {
    EXPECT_EQ(raw({"writeData", "LABEL=text:card  ", "ID=hex:01FF", "X=hex:1B5B41", "Y=a\tb"}).output,
              "LABEL: card\nID: 01FF\nX: 1B5B41\nY: a?b\n");
}

TEST(Commands, aSlowOperationDrawsNothingWithoutATerminal) {
    const Outcome slow = raw({"writeData", "SLEEP=900"});
    EXPECT_EQ(slow.status, 0);
    EXPECT_THAT(slow.errors, Not(HasSubstr("\r")));
}

} // namespace
} // namespace tests
