#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/view/Calls.h"
#include "host/view/Trace.h"

namespace host::view {

/// The calls that one thread made in one session, from the first to the last.
struct SessionSpan {
    std::uint64_t handle = 0;
    std::int64_t begin = 0; ///< as shown
    std::int64_t end = 0;
};

/// A row of bars: the calls without a session, or sessions that follow each other.
struct Lane {
    std::vector<SessionSpan> sessions; ///< empty for calls without a session
    std::vector<std::size_t> calls;    ///< in Timeline::calls, in the order of time
};

/// A script or a card command above the rows of its thread.
struct Span {
    bool isCommand = false;
    std::string name;
    std::int64_t begin = 0; ///< as shown
    std::int64_t end = 0;
    std::string error; ///< of a script that failed; else empty
    std::size_t calls = 0;
    std::int64_t inModule = 0; ///< the sum of the calls' durations
};

/// One thread of a process with its rows.
struct ThreadBlock {
    std::uint64_t process = 0;
    std::uint64_t thread = 0;
    std::vector<std::size_t> commands; ///< in Timeline::spans
    std::vector<std::size_t> scripts;
    std::vector<Lane> lanes;
};

/// A stretch of time that is shown as it was. What lies between two of them is left out, because nothing happened.
struct Segment {
    std::int64_t shown = 0; ///< where it begins on the axis
    std::int64_t begin = 0; ///< since Timeline::start
    std::int64_t end = 0;
};

/// A call with its place.
struct PlacedCall {
    Call call; ///< its time corrected where the clock went back
    std::int64_t shown = 0;
    std::int64_t command = -1; ///< in Timeline::spans; -1: unknown
    std::int64_t script = -1;
};

/// Everything that the page, the picture and the table show. Times that are "shown" count nanoseconds on the axis, from
/// 0 to `length`.
struct Timeline {
    std::vector<PlacedCall> calls; ///< in the order of their beginnings
    Texts functions;
    Texts results;
    Texts details;
    std::vector<Span> spans;
    std::vector<ThreadBlock> threads; ///< in the order of their first calls
    std::vector<Segment> segments;
    std::vector<std::string> files;
    std::vector<std::string> notes;
    std::int64_t start = 0; ///< of the first call, in nanoseconds since 1970
    std::int64_t length = 0;
    std::size_t processes = 0;
    std::size_t sessions = 0;
    std::size_t failures = 0;
};

/// Puts the calls of a record in order, and the scripts and card commands of a trace above them.
[[nodiscard]] Timeline makeTimeline(Calls calls, const Trace& trace);

} // namespace host::view
