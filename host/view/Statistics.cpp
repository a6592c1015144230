#include "host/view/Statistics.h"

#include <algorithm>
#include <map>

#include "host/view/Kinds.h"

namespace host::view {

namespace {

// What a number of nanoseconds can still hold.
constexpr double kLongestSum = 9e18;

/// The least value that `percent` of 100 do not exceed. `sorted` is not empty.
std::int64_t percentileOf(const std::vector<std::int64_t>& sorted, std::size_t percent) {
    return sorted[(sorted.size() * percent + 99) / 100 - 1];
}

Total totalOf(std::string function, std::vector<std::int64_t> durations, std::size_t failures) {
    std::sort(durations.begin(), durations.end());
    Total total;
    total.function = std::move(function);
    total.count = durations.size();
    total.failures = failures;
    for (const std::int64_t duration : durations) {
        total.sum = std::min(total.sum + static_cast<double>(duration), kLongestSum);
    }
    total.median = percentileOf(durations, 50);
    total.percentile = percentileOf(durations, 95);
    total.longest = durations.back();
    return total;
}

} // namespace

std::vector<Total> totalsOf(const Timeline& timeline) {
    std::vector<std::vector<std::int64_t>> durations(timeline.functions.size());
    std::vector<std::size_t> failures(timeline.functions.size());
    for (const PlacedCall& placed : timeline.calls) {
        durations[placed.call.function].push_back(placed.call.duration);
        failures[placed.call.function] += placed.call.hasFailed ? 1 : 0;
    }
    std::vector<Total> totals;
    for (std::uint32_t i = 0; i < durations.size(); ++i) {
        if (!durations[i].empty()) {
            totals.push_back(totalOf(timeline.functions[i], std::move(durations[i]), failures[i]));
        }
    }
    std::stable_sort(totals.begin(), totals.end(), [](const Total& a, const Total& b) { return a.sum > b.sum; });
    return totals;
}

std::vector<FailureGroup> failuresOf(const Timeline& timeline) {
    std::map<std::pair<std::uint32_t, std::uint32_t>, FailureGroup> groups;
    for (std::size_t i = 0; i < timeline.calls.size(); ++i) {
        const Call& call = timeline.calls[i].call;
        if (!call.hasFailed) {
            continue;
        }
        FailureGroup& group = groups[{call.function, call.result}];
        if (group.count++ == 0) {
            group.function = timeline.functions[call.function];
            group.result = timeline.results[call.result];
            group.first = i;
            group.isExpected = isOftenExpected(group.function, group.result);
        }
    }
    std::vector<FailureGroup> list;
    for (auto& entry : groups) {
        list.push_back(std::move(entry.second));
    }
    std::sort(list.begin(), list.end(), [](const FailureGroup& a, const FailureGroup& b) {
        return a.isExpected == b.isExpected ? a.first < b.first : b.isExpected;
    });
    return list;
}

} // namespace host::view
