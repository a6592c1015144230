#include "host/view/Joining.h"

#include <algorithm>
#include <map>
#include <utility>

#include "host/view/Shown.h"

namespace host::view {

namespace {

// The trace counts microseconds.
constexpr std::int64_t kMicrosecond = 1000;
constexpr std::int64_t kLongestSum = std::int64_t{1} << 62;

/// The system's numbers of a thread and its process.
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
    using Position = std::vector<TimedCall>::const_iterator;

public:
    Joiner(Timeline& timeline, const std::vector<std::int64_t>& recordedTimes) : m_timeline(timeline) {
        for (std::size_t i = 0; i < timeline.calls.size(); ++i) {
            const Call& call = timeline.calls[i].call;
            m_calls[{call.thread, call.process}].push_back({recordedTimes[i], i});
        }
        for (auto& [key, calls] : m_calls) {
            std::stable_sort(calls.begin(), calls.end(),
                             [](const TimedCall& a, const TimedCall& b) { return a.time < b.time; });
        }
        for (ThreadBlock& block : timeline.threads) {
            m_blocks[{block.thread, block.process}] = &block;
        }
    }

    /// Returns false when the calls that the span announces are not in the record.
    bool join(const TracedSpan& traced) {
        Position first;
        Position last;
        ThreadBlock* block = nullptr;
        // Processes of one record may have had a thread of the same number, one after the other.
        for (auto at = m_calls.lower_bound({traced.thread, 0}); at != m_calls.end() && at->first.first == traced.thread;
             ++at) {
            const Position from = firstFrom(at->second, traced.begin);
            const Position to = firstFrom(at->second, traced.end + kMicrosecond);
            if (from != to && (block == nullptr || to - from > last - first)) {
                first = from;
                last = to;
                block = m_blocks[at->first];
            }
        }
        if (block != nullptr) {
            place(traced, *block, first, last);
        }
        return block != nullptr || !traced.hasCalls;
    }

private:
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
    std::map<ThreadKey, std::vector<TimedCall>> m_calls;
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
        timeline.notes.emplace_back("Nothing of the trace belongs to this record: none of its threads made a call at "
                                    "the time of a script. Take a trace and a record of the same run.");
    } else if (unknown != 0) {
        timeline.notes.push_back(countText(unknown, "script") + " of the trace made calls that are not in "
                                                                "this record.");
    }
}

} // namespace host::view
