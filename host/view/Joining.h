#pragma once

#include <vector>

#include "host/view/Timeline.h"

namespace host::view {

/// Finds the thread of each script and command of the trace, and the calls that belong to it. The trace counts the
/// threads of a process and the record has the system's numbers, so that a thread is found by the calls that the trace
/// announces: it is the one whose calls of these functions begin right after. `calls` are in the order of time and have
/// the times of the record; `threads` is filled in but for the spans. What is not found is noted.
void joinTrace(Timeline& timeline, const Trace& trace, const std::vector<std::int64_t>& recordedTimes);

} // namespace host::view
