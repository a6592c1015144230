#include "host/plugin/Spinner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>

namespace host {
namespace {

using std::chrono::milliseconds;
using ::testing::MatchesRegex;

constexpr milliseconds kNever = std::chrono::hours(1);

/// What a spinner draws.
class Canvas {
public:
    void add(std::string_view part) {
        const std::lock_guard lock(m_mutex);
        m_text += part;
        m_drawn.notify_all();
    }
    void waitUntilDrawn() {
        std::unique_lock lock(m_mutex);
        m_drawn.wait(lock, [this] { return !m_text.empty(); });
    }
    [[nodiscard]] const std::string& text() const { return m_text; }

private:
    std::mutex m_mutex;
    std::condition_variable m_drawn;
    std::string m_text;
};

TEST(Spinner, drawsNothingWhenItIsNotEnabledOrTheWorkIsShort) {
    Canvas canvas;
    {
        const Spinner disabled(
            "sign", false, [&](std::string_view part) { canvas.add(part); }, milliseconds(0));
    }
    {
        const Spinner early(
            "sign", true, [&](std::string_view part) { canvas.add(part); }, kNever);
    }
    EXPECT_EQ(canvas.text(), "");
}

TEST(Spinner, drawsAfterItsDelayAndCleansUp) {
    Canvas canvas;
    {
        const Spinner spinner(
            "sign", true, [&](std::string_view part) { canvas.add(part); }, milliseconds(1));
        canvas.waitUntilDrawn();
    }
    // Which second it shows first depends on what else the machine does.
    EXPECT_THAT(canvas.text(), MatchesRegex("\r. sign, .+ s.*\r +\r"));
}

} // namespace
} // namespace host
