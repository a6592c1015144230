// A module that closed all descriptors and opened files of its own got our results and our trace written into them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;

TEST(DescriptorsTaken, aModulesFileGetsNothingOfOurs) {
    const File trace("");
    const File taken("");
    const Outcome ended = run({hostProgram(), "--plugin", doublePlugin(), "--module", "m", "--trace", trace.path(),
                               "--raw", "writeData", "REFUSE=1", "TAKE=" + taken.path(), "REFUSE=1"});
    EXPECT_EQ(taken.content(), "");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "");
    EXPECT_THAT(ended.errors, HasSubstr("p11host: cannot write the result to standard output\n"));
    EXPECT_THAT(ended.errors, HasSubstr("p11host: the trace is incomplete: the module, or another library in this "
                                        "process, has closed its file\n"));
    const std::string written = trace.content();
    EXPECT_THAT(written, HasSubstr("C_Logout"));
    EXPECT_EQ(written.find("C_Logout"), written.rfind("C_Logout")) << "the line behind the loss is lost";
}

} // namespace
} // namespace tests
