#include "host/cli/Help.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "host/plugin/Texts.h"

namespace host {
namespace {

/// The lines that are wider and could be broken: an example has to be copied as it stands.
std::vector<std::string> tooWide(const std::string& text, std::size_t width) {
    std::vector<std::string> wide;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t first = line.find_first_not_of(' ');
        const bool isOneWord = first != std::string::npos && line.find(' ', first) == std::string::npos;
        const bool isExample = line.find("  p11host ") != std::string::npos;
        if (columns(line) > width && !isOneWord && !(isExample && width < kHelpWidth)) {
            wide.push_back(line);
        }
    }
    return wide;
}

TEST(Help, fitsEightyColumns) {
    EXPECT_THAT(tooWide(programHelp(80), 80), ::testing::IsEmpty());
    for (const CommandRow& command : commandTable()) {
        EXPECT_THAT(tooWide(commandHelp(command, 80), 80), ::testing::IsEmpty()) << command.name;
    }
}

TEST(Help, breaksItsTextAtSixtyColumns) {
    EXPECT_THAT(tooWide(programHelp(60), 60), ::testing::IsEmpty());
    for (const CardCommand& command : cardCommands()) {
        EXPECT_THAT(tooWide(commandHelp(*findCommand(command.name), 60), 60), ::testing::IsEmpty()) << command.name;
    }
    EXPECT_GT(programHelp(60).size(), programHelp(80).size());
}

TEST(Help, wrapsWordsAndKeepsLinesThatAreIndented) {
    EXPECT_EQ(wrapped("one two three\n  as it stands\nfour", 9, 2), "  one two\n  three\n  as it stands\n  four\n");
    EXPECT_EQ(helpTable({{"a", "one two"}, {"a-name-that-is-longer-than-others", "below"}}, 12),
              "  a  one two\n  a-name-that-is-longer-than-others\n     below\n");
}

TEST(Help, saysWhatAParameterIsForAndWhenItIsNeeded) {
    const std::string help = commandHelp(*findCommand("writeData"), 80);
    EXPECT_THAT(help, ::testing::HasSubstr("KEYVALUE=file:..."));
    EXPECT_THAT(help, ::testing::HasSubstr("required (PRIVATE_KEY, KEY_PAIR)"));
}

} // namespace
} // namespace host
