// An argument of a batch file would reach a shell.

#include <gtest/gtest.h>

#include "platform/Command.h"
#include "tests/unit/platform/Fixture.h"

namespace {

TEST(BatchFile, isNotStarted) {
    const TemporaryFolder folder;
    for (const char* const name : {"sign.bat", "sign.CMD"}) {
        const std::string file = folder.write(name, "@echo signed\r\n").string();
        for (const std::string& written : {file, file + ".", file + " "}) {
            const platform::CommandResult result =
                platform::runCommand({written, "\"&calc&\""}, "", {std::chrono::minutes(1), 1000});
            EXPECT_EQ(result.end, platform::CommandResult::End::NotStarted);
            EXPECT_TRUE(result.reason.starts_with("a batch file is run by a shell")) << result.reason;
        }
    }
}

} // namespace
