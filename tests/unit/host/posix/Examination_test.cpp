// Programs that would keep the doctor waiting, or fill its memory.
#include "host/view/Examination.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace host {
namespace {

using ::testing::HasSubstr;

Examination examine(const std::vector<std::string>& command, std::chrono::milliseconds limit) {
    return runExamination(command, limit, [](const std::string& /*step*/) {});
}

TEST(Examination, endsWhenALineHasNoEnd) {
    const Examination ended = examine({"cat", "/dev/zero"}, std::chrono::hours(1));
    EXPECT_THAT(ended.stopped, HasSubstr("a line of more than 16 MiB"));
    EXPECT_FALSE(ended.isOverdue);
    EXPECT_EQ(ended.underWay, "starting the examination");
    EXPECT_THAT(ended.end, HasSubstr("signal 9"));
}

TEST(Examination, endsWhenAStepTakesTooLong) {
    const Examination ended = examine({"sleep", "1000"}, std::chrono::milliseconds(1));
    EXPECT_THAT(ended.stopped, HasSubstr("did not end within"));
    EXPECT_TRUE(ended.isOverdue);
    EXPECT_FALSE(ended.isInterrupted);
}

TEST(Examination, endsWhenAModuleHasClosedTheOutputAndHangs) {
    const Examination ended = examine({"sh", "-c", "exec >&-; exec sleep 1000"}, std::chrono::milliseconds(500));
    EXPECT_THAT(ended.stopped, HasSubstr("did not end within"));
    EXPECT_THAT(ended.end, HasSubstr("signal 9"));
}

} // namespace
} // namespace host
