#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host::view {

/// A call that the trace announces.
struct Announced {
    std::int64_t time; ///< nanoseconds since 1970; the trace has microseconds
    std::string function;
};

/// What a trace knows of one script or card command.
struct TracedSpan {
    bool isCommand = false; ///< a card command of p11host; otherwise a script
    std::string name;
    std::int64_t begin = 0; ///< nanoseconds since 1970
    std::int64_t end = 0;   ///< of the last line of its thread when the exit is missing
    bool hasEnded = false;
    std::string error; ///< the value of ERROR when the script failed; else empty
    std::vector<Announced> announced;
};

/// The scripts and card commands of a trace, in the order of their beginnings.
struct Trace {
    std::vector<TracedSpan> spans;
    std::vector<std::string> notes;
};

/// Reads JSON lines as --trace writes them. A last line that was cut off is noted. UsageError for other lines that are
/// no lines of a trace, and for a trace that names neither a script nor a card command; `file` names it in both.
[[nodiscard]] Trace readTrace(std::string_view text, const std::string& file);

} // namespace host::view
