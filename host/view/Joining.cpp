#include "host/view/Joining.h"

#include <algorithm>
#include <map>
#include <utility>

#include "host/view/Shown.h"

namespace host::view {

namespace {

// A call begins right after the line that announces it, unless the machine is busy.
constexpr std::int64_t kLongestWait = 1'000'000'000;
// The trace counts microseconds.
constexpr std::int64_t kMicrosecond = 1000;
constexpr std::int64_t kLongestSum = std::int64_t{1} << 62;

using ThreadKey = std::pair<std::uint64_t, std::uint64_t>;

/// A call by the time that the record has for it.
struct TimedCall {
    std::int64_t time;
    std::size_t call;
};

std::vector<TimedCall>::const_iterator firstFrom(const std::vector<TimedCall>& calls, std::int64_t time) {
    return std::lower_bound(calls.begin(), calls.end(), time,
                            [](const TimedCall& call, std::int64_t from) { return call.time < from; });
}

class Joiner {
public:
    Joiner(Timeline& timeline, const std::vector<std::int64_t>& recordedTimes)
        : m_timeline(timeline), m_byFunction(timeline.functions.size()) {
        for (std::size_t i = 0; i < timeline.calls.size(); ++i) {
            const Call& call = timeline.calls[i].call;
            m_byFunction[call.function].push_back({recordedTimes[i], i});
            m_byThread[{call.process, call.thread}].push_back({recordedTimes[i], i});
        }
        const auto isEarlier = [](const TimedCall& a, const TimedCall& b) { return a.time < b.time; };
        for (std::vector<TimedCall>& calls : m_byFunction) {
            std::stable_sort(calls.begin(), calls.end(), isEarlier);
        }
        for (auto& entry : m_byThread) {
            std::stable_sort(entry.second.begin(), entry.second.end(), isEarlier);
        }
        for (ThreadBlock& block : timeline.threads) {
            m_blocks[{block.process, block.thread}] = &block;
        }
    }

    /// Returns false when the calls that the span announces are not in the record.
    bool join(const TracedSpan& traced) {
        const std::optional<ThreadKey> thread = threadOf(traced);
        if (!thread) {
            return traced.announced.empty();
        }
        const std::vector<TimedCall>& calls = m_byThread[*thread];
        const auto first = firstFrom(calls, traced.begin);
        const auto last = firstFrom(calls, traced.end + kMicrosecond);
        if (first != last) {
            place(traced, *m_blocks[*thread], first, last);
        }
        return true;
    }

private:
    using Position = std::vector<TimedCall>::const_iterator;

    /// The thread that made most of the calls that the span announces.
    std::optional<ThreadKey> threadOf(const TracedSpan& traced) const {
        std::map<ThreadKey, std::size_t> votes;
        for (const Announced& announced : traced.announced) {
            const std::optional<std::uint32_t> function = m_timeline.functions.find(announced.function);
            if (!function) {
                continue;
            }
            const std::vector<TimedCall>& calls = m_byFunction[*function];
            const auto found = firstFrom(calls, announced.time);
            if (found != calls.end() &&
                found->time <= std::min(announced.time + kLongestWait, traced.end + kMicrosecond)) {
                const Call& call = m_timeline.calls[found->call].call;
                ++votes[{call.process, call.thread}];
            }
        }
        const auto most = std::max_element(votes.begin(), votes.end(),
                                           [](const auto& a, const auto& b) { return a.second < b.second; });
        return most == votes.end() ? std::nullopt : std::optional(most->first);
    }

    void place(const TracedSpan& traced, ThreadBlock& block, Position first, Position last) {
        const auto number = static_cast<std::int64_t>(m_timeline.spans.size());
        const std::int64_t shift = m_timeline.calls[first->call].call.time - first->time - m_timeline.start;
        Span span{
            traced.isCommand, traced.name, shown(traced.begin + shift), shown(traced.end + shift), traced.error, 0, 0};
        for (Position at = first; at != last; ++at) {
            PlacedCall& placed = m_timeline.calls[at->call];
            (traced.isCommand ? placed.command : placed.script) = number;
            ++span.calls;
            span.inModule = std::min(span.inModule + placed.call.duration, kLongestSum);
            span.begin = std::min(span.begin, placed.shown);
            span.end = std::max(span.end, placed.shown + placed.call.duration);
        }
        (traced.isCommand ? block.commands : block.scripts).push_back(m_timeline.spans.size());
        m_timeline.spans.push_back(std::move(span));
    }

    /// The place on the axis of a time since the start.
    [[nodiscard]] std::int64_t shown(std::int64_t time) const {
        const std::vector<Segment>& all = m_timeline.segments;
        const auto next = std::upper_bound(all.begin(), all.end(), time,
                                           [](std::int64_t t, const Segment& segment) { return t < segment.begin; });
        const Segment& segment = next == all.begin() ? all.front() : *(next - 1);
        return segment.shown + std::clamp(time, segment.begin, segment.end) - segment.begin;
    }

    Timeline& m_timeline;
    std::vector<std::vector<TimedCall>> m_byFunction;
    std::map<ThreadKey, std::vector<TimedCall>> m_byThread;
    std::map<ThreadKey, ThreadBlock*> m_blocks;
};

} // namespace

void joinTrace(Timeline& timeline, const Trace& trace, const std::vector<std::int64_t>& recordedTimes) {
    if (trace.spans.empty()) {
        return;
    }
    timeline.notes.insert(timeline.notes.end(), trace.notes.begin(), trace.notes.end());
    Joiner joiner(timeline, recordedTimes);
    std::size_t unknown = 0;
    for (const TracedSpan& span : trace.spans) {
        unknown += joiner.join(span) ? 0 : 1;
    }
    if (timeline.spans.empty()) {
        timeline.notes.emplace_back("Nothing of the trace belongs to this record: no call begins where the trace "
                                    "announces it. Take a trace and a record of the same run.");
    } else if (unknown != 0) {
        timeline.notes.push_back(countText(unknown, "script") + " of the trace made calls that are not in "
                                                                "this record.");
    }
}

} // namespace host::view
