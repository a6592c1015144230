#include "host/plugin/Spinner.h"

#include <gtest/gtest.h>

namespace host {
namespace {

using std::chrono::milliseconds;

std::string drawn(bool enabled, milliseconds delay, milliseconds work) {
    std::string text;
    {
        const Spinner spinner(
            "sign", enabled, [&](std::string_view part) { text += part; }, delay);
        std::this_thread::sleep_for(work);
    }
    return text;
}

TEST(Spinner, drawsNothingWhenItIsNotEnabledOrTheWorkIsShort) {
    EXPECT_EQ(drawn(false, milliseconds(0), milliseconds(50)), "");
    EXPECT_EQ(drawn(true, milliseconds(60000), milliseconds(0)), "");
}

TEST(Spinner, drawsAfterItsDelayAndCleansUp) {
    const std::string text = drawn(true, milliseconds(1), milliseconds(300));
    EXPECT_EQ(text.substr(0, 15), "\r| sign ... 0 s");
    EXPECT_EQ(text.substr(text.size() - 16), "\r              \r");
}

} // namespace
} // namespace host
