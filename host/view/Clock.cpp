#include "host/view/Clock.h"

#include <algorithm>
#include <map>
#include <set>

#include "host/view/Shown.h"

namespace host::view {

namespace {

// Calls of one thread may seem to overlap by less: their beginnings and their durations come from two clocks.
constexpr std::int64_t kTolerance = 1'000'000;
// A call has its number a moment before its time.
constexpr std::int64_t kLongestWait = 1'000'000'000;
constexpr std::int64_t kLatest = std::int64_t{1} << 62;
constexpr std::int64_t kLargestShift = std::int64_t{1} << 61;

struct ProcessClock {
    std::int64_t shift = 0;
    std::size_t jumps = 0;
    std::map<std::uint64_t, std::int64_t> ends; ///< of each thread's last call
};

/// The numbers that one process has used. Calls are counted in the order of their beginnings.
struct Numbers {
    std::set<std::uint64_t> seen;
    std::int64_t latest = 0; ///< the latest beginning
    std::size_t missing = 0;
    std::uint64_t example = 0;

    /// A number that comes again, or one behind higher numbers whose call began long after theirs, belongs to another
    /// process with the same identifier.
    void add(std::uint64_t number, std::int64_t time) {
        const bool isLower = !seen.empty() && number < *seen.rbegin();
        if (seen.count(number) != 0 || (isLower && time > latest + kLongestWait)) {
            close();
        }
        latest = seen.empty() ? time : std::max(latest, time);
        seen.insert(number);
    }

    void close() {
        std::uint64_t expected = seen.empty() ? 0 : *seen.begin();
        for (const std::uint64_t number : seen) {
            if (number != expected) {
                missing += static_cast<std::size_t>(number - expected);
                example = expected;
            }
            expected = number + 1;
        }
        seen.clear();
    }
};

} // namespace

void mendClocks(std::vector<Call>& calls, std::vector<std::string>& notes) {
    std::map<std::uint64_t, ProcessClock> clocks;
    for (Call& call : calls) {
        ProcessClock& clock = clocks[call.process];
        std::int64_t& last = clock.ends[call.thread];
        call.time = std::min(call.time + clock.shift, kLatest);
        if (call.time + kTolerance < last) {
            clock.shift = std::min(clock.shift + last - call.time, kLargestShift);
            call.time = last;
            ++clock.jumps;
        }
        last = std::max(last, std::min(call.end(), kLatest));
    }
    for (const auto& [process, clock] : clocks) {
        if (clock.jumps != 0) {
            notes.push_back("The clock went back " + timesText(clock.jumps) + " while process " +
                            std::to_string(process) + " ran, by " + durationText(clock.shift) +
                            " in all. Its later calls are shown right behind those before.");
        }
    }
}

void noteMissing(const std::vector<Call>& calls, std::vector<std::string>& notes) {
    std::map<std::uint64_t, Numbers> processes;
    for (const Call& call : calls) {
        processes[call.process].add(call.number, call.time);
    }
    for (auto& [process, numbers] : processes) {
        numbers.close();
        if (numbers.missing != 0) {
            notes.push_back(countText(numbers.missing, "call") + " of process " + std::to_string(process) +
                            " left no line, such as number " + std::to_string(numbers.example) +
                            ". The program ended in the middle of a call, or the line could not be written.");
        }
    }
}

} // namespace host::view
