#include "platform/CharacterWidth.h"

#include <algorithm>
#include <array>
#include <windows.h>

namespace platform {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

/// Unicode's wide and full-width characters, without the gaps that no name uses.
constexpr std::array kWide = {Range{0x1100, 0x115F},   Range{0x2E80, 0x303E},   Range{0x3041, 0xA4CF},
                              Range{0xA960, 0xA97F},   Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},
                              Range{0xFE30, 0xFE6F},   Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},
                              Range{0x1F300, 0x1F64F}, Range{0x1F900, 0x1F9FF}, Range{0x20000, 0x3FFFD}};

bool isWide(char32_t character) noexcept {
    return std::any_of(kWide.begin(), kWide.end(),
                       [&](const Range& range) { return character >= range.first && character <= range.last; });
}

/// Marks that are drawn over a letter, and characters that join others. A letter that has its mark in it is called
/// non-spacing, too.
bool isDrawnOver(char32_t character) noexcept {
    const bool joins = (character >= 0x200B && character <= 0x200F) || (character >= 0xFE00 && character <= 0xFE0F);
    const auto unit = static_cast<wchar_t>(character);
    WORD type = 0;
    return joins || (character < 0x10000 && ::GetStringTypeW(CT_CTYPE3, &unit, 1, &type) != FALSE &&
                     (type & (C3_NONSPACING | C3_ALPHA)) == C3_NONSPACING);
}

} // namespace

std::size_t columnsOf(char32_t character) noexcept {
    return isWide(character) ? 2 : isDrawnOver(character) ? 0 : 1;
}

} // namespace platform
