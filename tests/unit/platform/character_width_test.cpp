// How much room characters take on a terminal.

#include "platform/CharacterWidth.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(CharacterWidth, mostLettersTakeOneColumn) {
    for (const char32_t letter : {U'a', U'ä', U'ß', U'Ж', U'א', U'€'}) {
        EXPECT_EQ(columnsOf(letter), 1U) << static_cast<unsigned>(letter);
    }
}

TEST(CharacterWidth, wideCharactersTakeTwo) {
    for (const char32_t letter : {U'中', U'あ', U'한', U'Ａ', U'😀', U'𠀀'}) {
        EXPECT_EQ(columnsOf(letter), 2U) << static_cast<unsigned>(letter);
    }
}

TEST(CharacterWidth, marksOverALetterTakeNone) {
    for (const char32_t mark : {U'\u0301', U'\u0308', U'\u200D', U'\uFE0F'}) {
        EXPECT_EQ(columnsOf(mark), 0U) << static_cast<unsigned>(mark);
    }
}

} // namespace
} // namespace platform
