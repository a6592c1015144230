#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/host/Child.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

const std::string kRecord =
    R"({"n":1,"time":"1795351734000000000","duration":2,"process":7,"thread":8,"call":"C_Logout","in":{},"out":{},)"
    R"("result":"CKR_OK"})"
    "\n";

TEST(TimelineFile, onlyItsOwnerReadsThePageAndALinkGoesOnNamingIt) {
    const File record(kRecord);
    const File page("old", "page.html");
    const std::string link = page.path() + ".link";
    fs::create_symlink(fs::absolute(page.path()), link);
    EXPECT_EQ(run({hostProgram(), "timeline", record.path(), "--out", link}).status, 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::status(page.path()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_NE(page.content(), "old");
    EXPECT_FALSE(fs::exists(page.path() + ".new0")) << "nothing is left beside it";
    fs::remove(link);
}

TEST(TimelineFile, aDeviceIsWrittenAndNotReplaced) {
    const File record(kRecord);
    EXPECT_EQ(run({hostProgram(), "timeline", record.path(), "--text", "--out", "/dev/null"}).status, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    EXPECT_EQ(run({hostProgram(), "timeline", record.path(), "--text", "--out", "/dev/full"}).status, 1);
}

} // namespace
} // namespace tests
