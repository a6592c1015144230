#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/desk/journal/DeskRecord.h"

// The numbers of a desk's report.

namespace host::view {

/// Nanoseconds, as durationText takes them.
[[nodiscard]] constexpr std::int64_t nanosecondsOf(desk::Moment microseconds) noexcept {
    return microseconds * 1000;
}

/// How often each state occurs.
struct RowCounts {
    std::size_t waiting = 0;
    std::size_t running = 0;
    std::size_t done = 0;
    std::size_t failed = 0;
    std::size_t dropped = 0;
};
[[nodiscard]] RowCounts countRows(const desk::DeskRecord& record);

/// What a step of the plan took on all cards, in nanoseconds. Steps that failed or did not end count as failures and
/// have no duration.
struct StepTotal {
    int number = 0;
    std::string name;
    std::size_t count = 0; ///< those with a duration
    std::size_t failures = 0;
    std::int64_t median = 0;     ///< the middle one; of an even number the lower of the two
    std::int64_t percentile = 0; ///< 95 of 100 took as long or less
    std::int64_t longest = 0;
};

/// In the order of the plan; only steps that were begun.
[[nodiscard]] std::vector<StepTotal> stepTotalsOf(const desk::DeskRecord& record);

/// When an attempt ended; one without an end of its own when its last step did, or now while it is under way.
[[nodiscard]] desk::Moment endOf(const desk::AttemptRecord& attempt, desk::Moment now);

/// Longer than a card takes, shorter than a break of the person at the readers.
inline constexpr desk::Moment kLongestPause = desk::Moment{300} * 1'000'000;

/// From when to when work was under way: times that overlap or have a pause of at most `longestPause` between them are
/// one. In their order.
using Period = std::pair<desk::Moment, desk::Moment>;
[[nodiscard]] std::vector<Period> busyPeriodsOf(const desk::DeskRecord& record, desk::Moment longestPause);

/// "done", "rolled back".
[[nodiscard]] const char* phraseFor(desk::AttemptState state) noexcept;

} // namespace host::view
