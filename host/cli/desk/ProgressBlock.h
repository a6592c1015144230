#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "host/desk/engine/Progress.h"
#include "platform/Streams.h"

namespace host {

/// What a terminal shows of a run: a line for each reader, and a bar over all.
///
///     Reader 1  Jane Doe   generate-key      12 s
///     Reader 2  John Roe   done               1 min 4 s
///     [##########----------] 45 of 90, 1 failed, 12.3 a minute, 4 min left
class ProgressBlock {
public:
    using Clock = std::chrono::steady_clock;

    void take(const desk::Event& event, Clock::time_point now);
    void take(const desk::Stand& stand, Clock::time_point now);

    /// The lines for a window of this size: none is wider than the window or fills it, and there are fewer of them than
    /// the window has. Readers that work come first where there is no room for all. Empty before the first stand.
    [[nodiscard]] std::vector<std::string> lines(const platform::TerminalWindow& window, Clock::time_point now) const;
    /// What stays when the run has ended: the bar.
    [[nodiscard]] std::vector<std::string> lastLines(const platform::TerminalWindow& window) const;

private:
    struct Reader {
        std::string name;
        std::int64_t row = 0;
        std::string who;
        std::string step; ///< or how the card ended
        Clock::time_point begun;
        Clock::time_point stepBegun;
        std::optional<Clock::time_point> ended; ///< none: it works
    };
    /// When so many rows were finished.
    struct Mark {
        Clock::time_point when;
        std::int64_t finished = 0;
    };

    void begin(const desk::Event& event, Clock::time_point now);
    void end(const desk::Event& event, const char* how, Clock::time_point now);
    void mark(Clock::time_point now);
    [[nodiscard]] Reader* readerOf(std::int64_t row);
    [[nodiscard]] std::vector<const Reader*> shown(std::size_t most) const;
    [[nodiscard]] std::vector<std::string> readerLines(const std::vector<const Reader*>& readers, std::size_t room,
                                                       Clock::time_point now) const;
    [[nodiscard]] std::optional<double> finishedPerMinute() const;
    [[nodiscard]] std::string bar(std::size_t room, bool hasEnded) const;

    std::list<Reader> m_readers; ///< in the order in which they were first used
    std::optional<desk::Stand> m_stand;
    std::deque<Mark> m_marks; ///< the last ones
};

/// "12 s", "1 min 4 s", "25 min", "3 h 5 min".
[[nodiscard]] std::string durationText(std::chrono::seconds duration);

} // namespace host
