// What the environment says counts from a process's first message on: each case has a process of its own.

#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ry/rylog.h"

using testing::AllOf;
using testing::ContainsRegex;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::Not;

namespace {

void setVariable(const char* assignment) {
    // The environment keeps the text itself.
    putenv(const_cast<char*>(assignment));
}

class LogEnvironmentDeathTest : public testing::Test {
protected:
    LogEnvironmentDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

[[noreturn]] void logAndLeave() {
    rylogLog(L"MODULE", 1, L"a failure");
    rylogLog(L"MODULE", 8, L"an entry");
    std::exit(rylogIsEnabled(8) ? 8 : 0);
}

} // namespace

TEST_F(LogEnvironmentDeathTest, NothingIsWrittenWithoutAFile) {
    EXPECT_EXIT(
        {
            setVariable("RYLOG_FILE=");
            logAndLeave();
        },
        ExitedWithCode(0), Not(HasSubstr("MODULE")));
}

TEST_F(LogEnvironmentDeathTest, ADashIsStandardErrorInTextWithAllLevels) {
    EXPECT_EXIT(
        {
            setVariable("RYLOG_FILE=-");
            logAndLeave();
        },
        ExitedWithCode(8),
        AllOf(ContainsRegex("Z .+ MODULE failure a failure"), ContainsRegex("MODULE entry an entry")));
}

TEST_F(LogEnvironmentDeathTest, LevelsAreDecimal) {
    EXPECT_EXIT(
        {
            setVariable("RYLOG_FILE=-");
            setVariable("RYLOG_LEVELS=23");
            logAndLeave();
        },
        ExitedWithCode(0), AllOf(HasSubstr("a failure"), Not(HasSubstr("an entry"))));
}

TEST_F(LogEnvironmentDeathTest, LevelsAreHexadecimalWithPrefix) {
    EXPECT_EXIT(
        {
            setVariable("RYLOG_FILE=-");
            setVariable("RYLOG_LEVELS=0x18");
            logAndLeave();
        },
        ExitedWithCode(8), AllOf(Not(HasSubstr("a failure")), HasSubstr("an entry")));
}

TEST_F(LogEnvironmentDeathTest, LevelsThatAreNoNumberAreTheDefault) {
    EXPECT_EXIT(
        {
            setVariable("RYLOG_FILE=-");
            setVariable("RYLOG_LEVELS=1 and more");
            logAndLeave();
        },
        ExitedWithCode(8), AllOf(HasSubstr("a failure"), HasSubstr("an entry")));
}

TEST_F(LogEnvironmentDeathTest, FormatIsJson) {
    EXPECT_EXIT(
        {
            setVariable("RYLOG_FILE=-");
            setVariable("RYLOG_FORMAT=json");
            logAndLeave();
        },
        ExitedWithCode(8),
        AllOf(HasSubstr("\"thread\":"), HasSubstr(",\"module\":\"MODULE\",\"level\":8,\"text\":\"an entry\"}")));
}

TEST_F(LogEnvironmentDeathTest, TheHostsSetUpWins) {
    EXPECT_EXIT(
        {
            setVariable("RYLOG_FILE=");
            setVariable("RYLOG_LEVELS=0");
            if (!rylogSetUp("-", 31, RylogFormat::Text)) {
                std::exit(3);
            }
            logAndLeave();
        },
        ExitedWithCode(8), HasSubstr("an entry"));
}

TEST_F(LogEnvironmentDeathTest, AReceiverLeavesTheEnvironmentsFileAlone) {
    EXPECT_EXIT(
        {
            setVariable("RYLOG_FILE=-");
            setVariable("RYLOG_LEVELS=8");
            rylogSetReceiver([](void*, const RylogRecord*) {}, nullptr, 1);
            rylogLog(L"MODULE", 8, L"for the file");
            rylogLog(L"MODULE", 1, L"for the receiver");
            rylogSetReceiver(nullptr, nullptr, 0);
            logAndLeave();
        },
        ExitedWithCode(8), AllOf(HasSubstr("for the file"), HasSubstr("an entry"), Not(HasSubstr("for the receiver"))));
}
