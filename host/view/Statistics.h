#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/view/Timeline.h"

namespace host::view {

/// What the calls of one function took, in nanoseconds.
struct Total {
    std::string function;
    std::size_t count = 0;
    std::size_t failures = 0;
    double sum = 0;
    std::int64_t median = 0;     ///< the middle one; of an even number the lower of the two
    std::int64_t percentile = 0; ///< 95 of 100 calls took as long or less
    std::int64_t longest = 0;
};

/// One line a function, the largest sum first.
[[nodiscard]] std::vector<Total> totalsOf(const Timeline& timeline);

/// The failures of one function with one result.
struct FailureGroup {
    std::string function;
    std::string result;
    std::size_t count = 0;
    std::size_t first = 0;   ///< in Timeline::calls
    bool isExpected = false; ///< programs often expect it
};

/// Those that programs do not expect first, then by time.
[[nodiscard]] std::vector<FailureGroup> failuresOf(const Timeline& timeline);

} // namespace host::view
