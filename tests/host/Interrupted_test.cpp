// An interrupt cut a script in two: half of a key pair stayed on the token, and nothing was terminated or freed.
// Scripts last until the interrupt is sent, however long that takes, and half a second more, for it to arrive.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kMakeExecutor = "{\"call\":\"newInstance\",\"parameters\":{\"DLLNAME\":\"m\"}}\n";

Words withPlugin(const Words& more) {
    Words arguments = {hostProgram(), "--plugin", doublePlugin(), "--module", "m"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST(Interrupted, theScriptEndsFirst) {
    const File calls("");
    const File held("");
    Child child(withPlugin({"--json", "--raw", "writeData", "HOLD=" + held.path(), "SLEEP=500"}),
                {{"P11HOST_TEST_CALLS", calls.path()}}, Child::Console::Own);
    ASSERT_TRUE(waitFor(calls, "execute"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    held.append("on");
    EXPECT_THAT(child.readAll(), HasSubstr("{\"script\":\"writeData\",\"response\":{\"id\":\"0\""));
    EXPECT_EQ(child.wait(), 130);
    EXPECT_THAT(calls.content(), EndsWith("terminate\nfreeInstance\n"));
    EXPECT_THAT(child.errors(), EndsWith("p11host: interrupted; \"writeData\" was under way and has ended as its "
                                         "answer says, and nothing more was begun\n"));
}

TEST(Interrupted, aJobEndsBehindTheStepThatIsUnderWay) {
    const File calls("");
    const File held("");
    Child child(withPlugin({"run", "-"}), {{"P11HOST_TEST_CALLS", calls.path()}}, Child::Console::Own);
    child.write(std::string(kMakeExecutor) +
                "{\"call\":\"execute\",\"operation\":{\"script\":\"writeData\","
                "\"parameters\":{\"HOLD\":\"" +
                held.path() + "\",\"SLEEP\":\"500\"}}}\n{\"call\":\"getName\"}\n");
    ASSERT_TRUE(waitFor(calls, "execute"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    held.append("on");
    const std::string answers = child.readAll();
    EXPECT_THAT(answers, HasSubstr("{\"step\":1,\"call\":\"execute\",\"on\":\"default\",\"response\":{\"id\":\"1\""));
    EXPECT_THAT(answers, Not(HasSubstr("getName")));
    EXPECT_EQ(child.wait(), 130);
    EXPECT_THAT(calls.content(), EndsWith("terminate\nfreeInstance\n"));
}

TEST(Interrupted, aJobThatWaitsForItsNextStepEnds) {
    const File calls("");
    Child child(withPlugin({"run", "-"}), {{"P11HOST_TEST_CALLS", calls.path()}}, Child::Console::Own);
    child.write(kMakeExecutor);
    EXPECT_THAT(child.readLine(), HasSubstr("\"executor\":true"));
    ASSERT_TRUE(child.interrupt(SIGINT));
    EXPECT_EQ(child.readAll(), "");
    EXPECT_EQ(child.wait(), 130);
    EXPECT_THAT(calls.content(), EndsWith("terminate\nfreeInstance\n"));
}

} // namespace
} // namespace tests
