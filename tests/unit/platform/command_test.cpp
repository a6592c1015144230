// Commands that run without a shell: what reaches them, what comes back, and that nothing of them stays.

#include "platform/Command.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/FileLock.h"
#include "platform/Process.h"
#include "platform/Sleep.h"
#include "tests/unit/platform/Fixture.h"

namespace {

using platform::CommandLimits;
using platform::CommandResult;
using platform::FileLock;
using platform::runCommand;
using End = platform::CommandResult::End;

constexpr std::size_t kMegabyte = std::size_t{1} << 20;
/// More than any machine takes.
constexpr CommandLimits kPatient = {std::chrono::minutes(10), 4 * kMegabyte};

std::string helper() {
    const std::string own = platform::executablePath();
    return own.substr(0, own.find_last_of("/\\") + 1) + COMMAND_HELPER;
}

CommandResult run(std::vector<std::string> arguments, std::string_view input = "",
                  const CommandLimits& limits = kPatient) {
    arguments.insert(arguments.begin(), helper());
    return runCommand(arguments, input, limits);
}

std::string textOf(const WipedBytes& bytes) {
    std::string text;
    for (const char byte : bytes) {
        if (byte != '\r') {
            text += byte;
        }
    }
    return text;
}

std::string hexadecimal(const std::string& text) {
    std::string digits;
    for (const char character : text) {
        digits += "0123456789abcdef"[static_cast<unsigned char>(character) >> 4];
        digits += "0123456789abcdef"[static_cast<unsigned char>(character) & 15];
    }
    return digits;
}

/// A file whose lock another process holds as long as it lives.
class Command : public testing::Test {
protected:
    [[nodiscard]] std::string lockFile() const { return utf8NameOf(m_folder.path() / "lock"); }

    /// The state of the lock when the system has done with the processes that were killed; a lock that stays held shows
    /// after a minute.
    [[nodiscard]] FileLock::State lockState() const {
        for (int i = 0; i < 6000 && FileLock(lockFile()).state() != FileLock::State::Taken; ++i) {
            platform::sleepFor(std::chrono::milliseconds(10));
        }
        return FileLock(lockFile()).state();
    }

    /// Runs the helper with ever longer limits until it says that the lock is held when it is killed.
    [[nodiscard]] CommandResult runUntilHeld(const std::string& what, const std::string& said) const {
        for (std::chrono::milliseconds limit(500);; limit *= 2) {
            CommandResult result = run({what, lockFile()}, "", {limit, kMegabyte});
            if (textOf(result.output) == said || result.end != End::TimedOut) {
                return result;
            }
        }
    }

private:
    TemporaryFolder m_folder;
};

TEST_F(Command, getsEachArgumentToTheLetter) {
    const std::vector<std::string> arguments = {"",
                                                "a b",
                                                "\"quoted\"",
                                                "ends with \\",
                                                "\\\\server\\\"share\\\\",
                                                "$(touch x) `y` ; | & > z",
                                                "%PATH% ^& !x!",
                                                "'single'",
                                                "*.txt",
                                                "line\nbreak\ttab",
                                                "Zo\xC3\xAB \xE2\x82\xAC \xF0\x9F\x98\x80",
                                                "--"};
    std::vector<std::string> all = {"arguments"};
    std::string expected;
    for (const std::string& argument : arguments) {
        all.push_back(argument);
        expected += hexadecimal(argument) + "\n";
    }
    const CommandResult result = run(all);
    EXPECT_EQ(result.end, End::Ended);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(textOf(result.output), expected);
}

TEST_F(Command, getsItsInputAndGivesItsOutput) {
    const std::string input = "-----BEGIN\nlines\n" + std::string(3 * kMegabyte, 'x');
    const CommandResult result = run({"copy"}, input);
    EXPECT_EQ(result.end, End::Ended);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(textOf(result.output) == input);
    EXPECT_EQ(textOf(result.errors), "");
}

TEST_F(Command, findsTheEndOfAnEmptyInput) {
    const CommandResult result = run({"copy"});
    EXPECT_EQ(result.end, End::Ended);
    EXPECT_TRUE(result.output.empty());
}

TEST_F(Command, mayEndWithoutReadingItsInput) {
    const CommandResult result = run({"end", "3", "the reason"}, std::string(kMegabyte, 'x'));
    EXPECT_EQ(result.end, End::Ended);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(textOf(result.errors), "the reason");
}

TEST_F(Command, mayFillBothOutputsBeforeItReads) {
    const CommandResult result = run({"flood"}, std::string(kMegabyte, 'x'));
    EXPECT_EQ(result.end, End::Ended);
    EXPECT_EQ(result.output.size(), kMegabyte);
    // The end of what it wrote there.
    EXPECT_EQ(result.errors.size(), 4096U);
    EXPECT_TRUE(textOf(result.errors).ends_with("o1023\n"));
}

TEST_F(Command, isKilledWhenItPrintsTooMuch) {
    const CommandResult result = run({"endless"}, "", {kPatient.time, kMegabyte});
    EXPECT_EQ(result.end, End::TooMuch);
    EXPECT_LE(result.output.size(), kMegabyte);
}

TEST_F(Command, mayPrintAsMuchAsIsAllowed) {
    EXPECT_EQ(run({"flood"}, "", {kPatient.time, kMegabyte}).end, End::Ended);
    EXPECT_EQ(run({"flood"}, "", {kPatient.time, kMegabyte - 1}).end, End::TooMuch);
}

TEST_F(Command, isKilledAtTheLimit) {
    const CommandResult result = runUntilHeld("hold", "held\n");
    EXPECT_EQ(result.end, End::TimedOut);
    EXPECT_EQ(textOf(result.output), "held\n");
    EXPECT_EQ(lockState(), FileLock::State::Taken);
}

TEST_F(Command, isKilledWithWhatItHasStarted) {
    const CommandResult result = runUntilHeld("family", "another holds it\n");
    EXPECT_EQ(result.end, End::TimedOut);
    EXPECT_EQ(textOf(result.output), "another holds it\n");
    EXPECT_EQ(lockState(), FileLock::State::Taken);
}

TEST_F(Command, leavesNothingRunning) {
    const CommandResult result = run({"leave", lockFile()});
    EXPECT_EQ(result.end, End::Ended);
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(textOf(result.output), "another holds it\n");
    EXPECT_EQ(lockState(), FileLock::State::Taken);
}

TEST_F(Command, thatCannotBeStartedSaysWhy) {
    const CommandResult result = runCommand({helper() + "-none", "copy"}, "input", kPatient);
    EXPECT_EQ(result.end, End::NotStarted);
    EXPECT_NE(result.reason, "");
    EXPECT_TRUE(result.output.empty());
}

TEST_F(Command, takesNoArgumentThatWouldBeCut) {
    const CommandResult result = run({"arguments", std::string("a\0b", 3)});
    EXPECT_EQ(result.end, End::NotStarted);
    EXPECT_EQ(result.reason, "an argument holds a zero byte");
    EXPECT_EQ(runCommand({}, "", kPatient).reason, "no program is named");
}

TEST_F(Command, mayRunOnSeveralThreads) {
    std::vector<CommandResult> results(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([&results, i] { results[i] = run({"copy"}, std::string(100'000, char('a' + i))); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < results.size(); ++i) {
        EXPECT_EQ(results[i].end, End::Ended);
        EXPECT_TRUE(textOf(results[i].output) == std::string(100'000, char('a' + i))) << i;
    }
}

TEST_F(Command, holdsNoLockOfItsParent) {
    const FileLock lock(lockFile());
    ASSERT_EQ(lock.state(), FileLock::State::Taken);
    const CommandResult result = run({"hold", lockFile()});
    EXPECT_EQ(result.end, End::Ended);
    EXPECT_EQ(result.status, 1);
}

TEST(FileLockOfAFile, isHeldByOneAtATimeAndGivenBack) {
    const TemporaryFolder folder;
    const std::string file = utf8NameOf(folder.path() / u8"Pl\u00E4tze 1");
    {
        const FileLock first(file);
        EXPECT_EQ(first.state(), FileLock::State::Taken);
        EXPECT_EQ(FileLock(file).state(), FileLock::State::HeldByAnother);
        EXPECT_EQ(FileLock(file + "2").state(), FileLock::State::Taken);
    }
    EXPECT_EQ(FileLock(file).state(), FileLock::State::Taken);
    EXPECT_TRUE(std::filesystem::exists(folder.path() / u8"Pl\u00E4tze 1"));
}

TEST(FileLockOfAFile, saysWhyItCannotBeTaken) {
    const TemporaryFolder folder;
    const FileLock lock(utf8NameOf(folder.path() / "none" / "lock"));
    EXPECT_EQ(lock.state(), FileLock::State::Failed);
    EXPECT_NE(FileLock::lastError(), "");
}

TEST(Commands, AreFoundWhereTheyWouldBeStarted) {
    EXPECT_TRUE(platform::isStartable(helper()));
    const std::string folder = helper().substr(0, helper().find_last_of("/\\"));
    EXPECT_FALSE(platform::isStartable(folder));
    EXPECT_FALSE(platform::isStartable(helper() + ".missing"));
    EXPECT_FALSE(platform::isStartable("no-program-has-this-name"));
    EXPECT_FALSE(platform::isStartable(""));
}

} // namespace
