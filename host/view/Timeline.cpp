#include "host/view/Timeline.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

#include "host/view/Clock.h"
#include "host/view/Joining.h"

namespace host::view {

namespace {

// A pause is shortened to this part of the time in which something happened, or to the least length; to less where many
// pauses would hide the rest.
constexpr std::int64_t kPausePart = 20;
constexpr std::int64_t kLeastPause = 1'000'000;
// What is before a pause and what is behind it stand apart.
constexpr std::int64_t kShortestPause = 2;
// More sessions at one time share the last row.
constexpr std::size_t kMostLanes = 100;

/// Numbers sessions: a handle that is opened again is another session.
class SessionNumbers {
public:
    /// The number of the call's session; nullopt for a call without one.
    std::optional<std::size_t> numberOf(const Call& call, const std::string& function) {
        if (function == "C_OpenSession" && call.session && !call.hasFailed) {
            remove(call.process, *call.session);
            return add(call.process, *call.session, call.slot);
        }
        std::optional<std::size_t> number;
        if (call.session) {
            const std::map<std::uint64_t, Open>& open = m_open[call.process].byHandle;
            const auto known = open.find(*call.session);
            number = known != open.end() ? known->second.number : add(call.process, *call.session, std::nullopt);
        }
        if (!call.hasFailed) {
            close(call, function);
        }
        return number;
    }

    [[nodiscard]] std::size_t count() const noexcept { return m_count; }

private:
    using Slot = std::optional<std::uint64_t>; ///< nullopt: opened before the record begins

    struct Open {
        std::size_t number;
        Slot slot;
    };

    /// The open sessions of one process. To close those of a slot takes as long as there are sessions to close.
    struct Sessions {
        std::map<std::uint64_t, Open> byHandle;
        std::map<Slot, std::set<std::uint64_t>> bySlot; ///< handles
    };

    std::size_t add(std::uint64_t process, std::uint64_t handle, Slot slot) {
        Sessions& sessions = m_open[process];
        sessions.byHandle[handle] = {m_count, slot};
        sessions.bySlot[slot].insert(handle);
        return m_count++;
    }

    void remove(std::uint64_t process, std::uint64_t handle) {
        Sessions& sessions = m_open[process];
        const auto open = sessions.byHandle.find(handle);
        if (open != sessions.byHandle.end()) {
            sessions.bySlot[open->second.slot].erase(handle);
            sessions.byHandle.erase(open);
        }
    }

    void removeSlot(std::uint64_t process, Slot slot) {
        Sessions& sessions = m_open[process];
        for (const std::uint64_t handle : sessions.bySlot[slot]) {
            sessions.byHandle.erase(handle);
        }
        sessions.bySlot.erase(slot);
    }

    void close(const Call& call, const std::string& function) {
        if (function == "C_CloseSession" && call.session) {
            remove(call.process, *call.session);
        } else if (function == "C_CloseAllSessions") {
            removeSlot(call.process, call.slot);
            removeSlot(call.process, std::nullopt);
        } else if (function == "C_Finalize") {
            m_open.erase(call.process);
        }
    }

    std::map<std::uint64_t, Sessions> m_open; ///< by process
    std::size_t m_count = 0;
};

/// A session as one thread used it.
struct UsedSession {
    SessionSpan span;
    std::vector<std::size_t> calls;
};

/// The calls of one thread.
struct ThreadCalls {
    std::vector<std::size_t> withoutSession;
    std::map<std::size_t, UsedSession> sessions; ///< by number
};

/// Sessions that follow each other share a row.
std::vector<Lane> lanesOf(ThreadCalls& thread) {
    std::vector<Lane> lanes;
    if (!thread.withoutSession.empty()) {
        lanes.push_back({{}, std::move(thread.withoutSession)});
    }
    const std::size_t first = lanes.size();
    for (auto& entry : thread.sessions) {
        UsedSession& used = entry.second;
        const auto lane = std::find_if(lanes.begin() + static_cast<std::ptrdiff_t>(first), lanes.end(),
                                       [&](const Lane& l) { return l.sessions.back().end <= used.span.begin; });
        const bool isFull = lanes.size() - first >= kMostLanes;
        Lane& chosen = lane != lanes.end() ? *lane : (isFull ? lanes.back() : lanes.emplace_back());
        chosen.sessions.push_back(used.span);
        chosen.calls.insert(chosen.calls.end(), used.calls.begin(), used.calls.end());
    }
    for (Lane& lane : lanes) {
        std::sort(lane.calls.begin(), lane.calls.end());
    }
    return lanes;
}

void placeInLanes(Timeline& timeline) {
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::size_t> numbers;
    std::vector<ThreadCalls> threads;
    std::set<std::uint64_t> processes;
    SessionNumbers sessions;
    for (std::size_t i = 0; i < timeline.calls.size(); ++i) {
        const PlacedCall& placed = timeline.calls[i];
        const Call& call = placed.call;
        const auto [entry, isNew] = numbers.try_emplace({call.process, call.thread}, threads.size());
        if (isNew) {
            threads.emplace_back();
            timeline.threads.push_back({call.process, call.thread, {}, {}, {}});
            processes.insert(call.process);
        }
        ThreadCalls& thread = threads[entry->second];
        const std::optional<std::size_t> session = sessions.numberOf(call, timeline.functions[call.function]);
        if (!session) {
            thread.withoutSession.push_back(i);
            continue;
        }
        const std::int64_t end = placed.shown + call.duration;
        UsedSession& used =
            thread.sessions.try_emplace(*session, UsedSession{{*call.session, placed.shown, end}, {}}).first->second;
        used.span.end = std::max(used.span.end, end);
        used.calls.push_back(i);
    }
    for (std::size_t i = 0; i < threads.size(); ++i) {
        timeline.threads[i].lanes = lanesOf(threads[i]);
    }
    timeline.processes = processes.size();
    timeline.sessions = sessions.count();
}

/// The part of each pause that is left when all of them together have this much room. `pauses` are sorted.
std::int64_t shareOf(const std::vector<std::int64_t>& pauses, std::int64_t room) {
    auto left = static_cast<std::int64_t>(pauses.size());
    for (const std::int64_t pause : pauses) {
        const std::int64_t share = room / left--;
        if (pause > share) {
            return share;
        }
        room -= pause;
    }
    return std::numeric_limits<std::int64_t>::max();
}

/// How long a pause is on the axis: all of them together take no more than the time in which something happened.
std::int64_t pauseLength(const std::vector<PlacedCall>& calls) {
    std::int64_t busy = 0;
    std::vector<std::int64_t> pauses;
    std::int64_t until = calls.front().call.time;
    for (const PlacedCall& placed : calls) {
        const std::int64_t pause = placed.call.time - until;
        if (pause > 2 * kLeastPause) {
            pauses.push_back(pause);
        }
        busy += std::max<std::int64_t>(0, placed.call.end() - std::max(until, placed.call.time));
        until = std::max(until, placed.call.end());
    }
    std::sort(pauses.begin(), pauses.end());
    // A pause of up to twice the length stays as it is.
    const std::int64_t share = shareOf(pauses, busy / 2);
    return std::clamp(share, kShortestPause, std::max(busy / kPausePart, kLeastPause));
}

/// Makes the axis, on which long pauses are short, and places the calls on it.
void placeOnAxis(Timeline& timeline) {
    timeline.start = timeline.calls.front().call.time;
    const std::int64_t pause = pauseLength(timeline.calls);
    const std::int64_t least = 2 * std::max(pause, kLeastPause);
    Segment segment;
    for (PlacedCall& placed : timeline.calls) {
        const std::int64_t begin = placed.call.time - timeline.start;
        if (begin - segment.end > least) {
            segment.end += pause / 2;
            timeline.segments.push_back(segment);
            segment = {segment.shown + segment.end - segment.begin, begin - pause / 2, begin};
        }
        placed.shown = segment.shown + begin - segment.begin;
        segment.end = std::max(segment.end, begin + placed.call.duration);
    }
    timeline.segments.push_back(segment);
    timeline.length = std::max<std::int64_t>(segment.shown + segment.end - segment.begin, 1);
}

} // namespace

Timeline makeTimeline(Calls calls, const Trace& trace) {
    Timeline timeline;
    std::vector<std::int64_t> times;
    for (const Call& call : calls.all) {
        times.push_back(call.time);
    }
    timeline.notes = std::move(calls.notes);
    noteMissing(calls.all, timeline.notes);
    mendClocks(calls.all, timeline.notes);
    std::vector<std::size_t> order(calls.all.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return calls.all[a].time < calls.all[b].time; });
    std::vector<std::int64_t> recordedTimes;
    for (const std::size_t i : order) {
        timeline.calls.push_back({calls.all[i], 0, -1, -1});
        recordedTimes.push_back(times[i]);
        timeline.failures += calls.all[i].hasFailed ? 1 : 0;
    }
    timeline.functions = std::move(calls.functions);
    timeline.results = std::move(calls.results);
    timeline.details = std::move(calls.details);
    timeline.files = std::move(calls.files);
    placeOnAxis(timeline);
    placeInLanes(timeline);
    joinTrace(timeline, trace, recordedTimes);
    return timeline;
}

} // namespace host::view
