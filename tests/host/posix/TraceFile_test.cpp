// Where p11host writes its trace, and what it does when it cannot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/host/Child.h"

namespace tests {
namespace {

using ::testing::HasSubstr;

constexpr const char* kRule = "; it must be a file of your own, no link and no pipe\n";

Outcome runTraced(const Words& words, const Environment& environment) {
    Words arguments = {hostProgram(), "--plugin", doublePlugin(), "--module", "m"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return run(arguments, "", environment);
}

class RefusedTraceFile : public ::testing::Test {
protected:
    ~RefusedTraceFile() override { ::unlink(m_refused.c_str()); }

    void expectRefusal() const {
        const Outcome option =
            runTraced({"--trace", m_refused, "getCardState"}, {{"P11HOST_TEST_CALLS", m_calls.path()}});
        EXPECT_EQ(option.status, 2);
        EXPECT_EQ(option.errors, "p11host: cannot write the trace to \"" + m_refused + "\"" + kRule);
        const Outcome variable =
            runTraced({"getCardState"}, {{"P11HOST_TEST_CALLS", m_calls.path()}, {"RYLOG_FILE", m_refused}});
        EXPECT_EQ(variable.status, 2);
        EXPECT_EQ(variable.errors,
                  std::string("p11host: cannot write the trace to the file that RYLOG_FILE names") + kRule);
        EXPECT_EQ(m_calls.content(), "") << "the plug-in was loaded";
        EXPECT_EQ(m_target.content(), "");
    }

    const File m_target{""};
    const File m_calls{""};
    const std::string m_refused = m_target.path() + ".refused";
};

TEST_F(RefusedTraceFile, aLinkEndsWithStatusTwoBeforeAnythingIsLoaded) {
    std::filesystem::create_symlink(m_target.path(), m_refused);
    expectRefusal();
}

TEST_F(RefusedTraceFile, aPipeDoesToo) {
    ASSERT_EQ(::mkfifo(m_refused.c_str(), 0600), 0);
    expectRefusal();
}

Outcome onFullDisk(const std::string& command, const std::string& trace) {
    // 4096 bytes is what a file may have, and the trace has them already. (The unit of a size is 512 bytes.)
    return run({"/bin/sh", "-c",
                "trap '' XFSZ; ulimit -f 8; exec '" + hostProgram() + "' --module '" SEEKER_MODULE "' --trace '" +
                    trace + "' " + command},
               "");
}

TEST(FullDisk, isReportedOnceAndTheStatusIsOne) {
    const File trace(std::string(4096, '\n'));
    const Outcome readers = onFullDisk("--json readers", trace.path());
    EXPECT_EQ(readers.status, 1);
    EXPECT_EQ(readers.errors, "p11host: the trace is incomplete: its file could not be written; is the disk full?\n");
    EXPECT_THAT(readers.output, HasSubstr("\"readers\":["));
    EXPECT_EQ(trace.content().size(), 4096U);
}

TEST(FullDisk, doesNotHideAnotherFailure) {
    const File trace(std::string(4096, '\n'));
    EXPECT_EQ(onFullDisk("--raw authenticate", trace.path()).status, 8);
}

} // namespace
} // namespace tests
