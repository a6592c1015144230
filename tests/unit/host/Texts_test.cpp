// Small things that the host does with texts.

#include "host/plugin/Texts.h"

#include <gtest/gtest.h>

namespace host {
namespace {

TEST(Texts, hexadecimalAndBase64StandForTheBytes) {
    EXPECT_EQ(toUtf8(toHexadecimal(std::string_view("\x00\xFFz", 3))), "00FF7A");
    EXPECT_EQ(toUtf8(toBase64(std::string_view("\x00\xFFz\x01", 4))), "AP96AQ==");
    EXPECT_EQ(fromHexadecimal("00fF7a"), std::string("\x00\xFFz", 3));
    EXPECT_EQ(fromHexadecimal(""), "");
    for (const char* text : {"0", "0g", "00 01", "0x00", "\xC3\xA4"}) {
        EXPECT_EQ(fromHexadecimal(text), std::nullopt) << text;
    }
}

TEST(Texts, printableTextHasNoOrdersToTheTerminal) {
    EXPECT_EQ(printable("R\xC3\xA4\xE2\x82\xAC"), "R\xC3\xA4\xE2\x82\xAC");
    EXPECT_EQ(printable("a\x1B[2Jb\n\x7F\xC2\x9B"), "a?[2Jb???");
    EXPECT_EQ(printable("\xFF"), "?");
    EXPECT_EQ(printable("\u061C\u200E\u200F\u202A\u202E\u2066\u2069"), "???????") << "they turn what follows";
    EXPECT_EQ(printable("\xEF\xBF\xBD\xEF\xBF\xBE\xEF\xBF\xBF"), "???") << "XML does not allow the last two";
    EXPECT_EQ(printable("\u061B\u200D\u2010\u2029\u202F\u2065\u206A"), "\u061B\u200D\u2010\u2029\u202F\u2065\u206A");
}

TEST(Texts, columnsAreCharacters) {
    EXPECT_EQ(columns(""), 0U);
    EXPECT_EQ(columns("a\xC3\xA4\xE2\x82\xAC"), 3U);
}

TEST(Texts, theWidthOnATerminalCountsWideAndCombiningCharacters) {
    EXPECT_EQ(shownWidth(""), 0U);
    EXPECT_EQ(shownWidth("aä€"), 3U);
    EXPECT_EQ(shownWidth("中文"), 4U);
    EXPECT_EQ(shownWidth("e\u0301"), 1U);
    EXPECT_EQ(shownWidth("\xE4\xB8"), 1U) << "torn text is read to its end only";
}

TEST(Texts, fittedTextTakesAsMuchRoomAsItIsGiven) {
    EXPECT_EQ(fitted("abc", 5), "abc  ");
    EXPECT_EQ(fitted("abc", 3), "abc");
    EXPECT_EQ(fitted("abcd", 3), "ab…");
    EXPECT_EQ(fitted("中文字", 4), "中… ") << "no half of a character";
    EXPECT_EQ(fitted("e\u0301e\u0301e", 2), "e\u0301…");
    EXPECT_EQ(fitted("abc", 1), "…");
    EXPECT_EQ(fitted("abc", 0), "");
}

TEST(Texts, trimmedTextHasNoBlanksAtItsEnd) {
    EXPECT_EQ(trimmed(" a b  "), " a b");
    EXPECT_EQ(trimmed("   "), "");
    EXPECT_EQ(trimmed(""), "");
}

TEST(Texts, aMisspeltWordFindsWhatWasMeant) {
    const std::vector<std::string> scripts = {"signData", "readData", "init"};
    EXPECT_EQ(closest("SIGNDATE", scripts), "signData");
    EXPECT_EQ(closest("int", scripts), "init");
    EXPECT_EQ(closest("generateKeyPair", scripts), std::nullopt);
    EXPECT_EQ(suggestion("redData", scripts), " (did you mean \"readData\"?)");
    EXPECT_EQ(suggestion(std::string(65, 'x'), {std::string(66, 'x')}), "");
    EXPECT_EQ(joined(scripts), "signData, readData, init");
    EXPECT_EQ(joined({}), "");
}

TEST(Texts, aSlipIsABeginOrOneLetterOrAnotherOrder) {
    for (const char* word : {"confirm", "CONFIRM", "con", "confrm", "confirmm", "confirn", "cnofirm"}) {
        EXPECT_TRUE(isSlipOf(word, "confirm")) << word;
    }
    for (const char* word : {"", "co", "cofrm", "deny"}) {
        EXPECT_FALSE(isSlipOf(word, "confirm")) << word;
    }
}

} // namespace
} // namespace host
