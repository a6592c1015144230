#include "tests/conformance/Difference.h"

#include <algorithm>

namespace Conformance {

namespace {

constexpr std::size_t kBefore = 2;
constexpr std::size_t kAfter = 10;

void append(std::string& text, const char* title, const std::vector<std::string>& lines, std::size_t first) {
    text += "\n  " + std::string(title) + " (" + std::to_string(lines.size()) + " lines):";
    const std::size_t end = std::min(lines.size(), first + kAfter);
    for (std::size_t i = first > kBefore ? first - kBefore : 0; i < end; ++i) {
        text += (i == first ? "\n  > " : "\n    ") + std::to_string(i) + "  " + lines[i];
    }
    if (lines.size() <= first) {
        text += "\n  > (ends here)";
    } else if (end < lines.size()) {
        text += "\n    ...";
    }
}

} // namespace

std::string difference(const std::vector<std::string>& actual, const std::vector<std::string>& expected) {
    if (actual == expected) {
        return {};
    }
    const auto [inActual, inExpected] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    const auto first = static_cast<std::size_t>(inActual - actual.begin());
    std::string text = "first at line " + std::to_string(first);
    append(text, "actual", actual, first);
    append(text, "expected", expected, first);
    return text;
}

} // namespace Conformance
