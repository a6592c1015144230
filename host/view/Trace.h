#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host::view {

/// What a trace knows of one script or card command.
struct TracedSpan {
    bool isCommand = false; ///< a card command of p11host; otherwise a script
    std::string name;
    std::uint64_t thread = 0;
    std::int64_t begin = 0; ///< nanoseconds since 1970; the trace counts microseconds
    std::int64_t end = 0;   ///< of the last line of its thread when the exit is missing
    std::string error;      ///< the value of ERROR when the script failed; else empty
    bool hasCalls = false;  ///< the trace announces a call of the module
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
