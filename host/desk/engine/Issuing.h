#pragma once

#include <chrono>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/desk/engine/Decision.h"
#include "host/desk/engine/Worker.h"

namespace host::desk {

/// How a run ended.
enum class Outcome { AllDone, SomeFailed, Interrupted };

/// Issues cards until no row waits: looks at the readers twice a second, gives each card that can be used to a worker
/// of its own, and keeps the leases. Made and run on the thread that made `bench.view`.
class Issuing {
public:
    /// `readers` are patterns of readers' names; empty: all readers. `bench` has to outlive it.
    Issuing(const Bench& bench, std::string station, std::vector<std::string> readers);

    /// JournalError when the journal cannot be kept: no card is begun any more, and those under way have stopped.
    [[nodiscard]] Outcome run();

private:
    using Clock = std::chrono::steady_clock;

    /// What was seen in a reader and is not looked at again until it changes.
    struct Seen {
        std::string card;
        bool isForGood = false; ///< else looked at again from time to time: the journal may have changed
    };

    [[nodiscard]] bool isFinished();
    void keepLeases();
    void tellStand();
    void reap();
    void poll();
    [[nodiscard]] std::vector<SlotView> look();
    void noteFault(const std::string& fault);
    void notePatterns(const std::vector<SlotView>& slots);
    void lookAt(const std::vector<SlotView>& slots, bool isInitialised);
    void consider(const SlotView& slot, const std::string& reader);
    void considerNew(const SlotView& slot, const std::string& reader);
    void start(const SlotView& slot, const std::string& reader, std::optional<Claim> claim);
    void leave(const SlotView& slot, const std::string& reader, const std::string& reason);
    /// Who works on the card in this slot; null when nobody does.
    [[nodiscard]] const Worker* workerAt(std::uint64_t slot) const;
    [[nodiscard]] bool isMeant(const std::string& reader) const;

    const Bench& m_bench;
    std::string m_station;
    std::vector<std::string> m_readers;
    std::set<std::string> m_labels;
    std::list<Worker> m_workers;
    std::map<std::uint64_t, Seen> m_seen;        ///< by slot
    std::map<std::int64_t, int> m_interruptions; ///< by row
    std::set<std::string> m_told;                ///< what was said about cards that are left alone
    Clock::time_point m_nextLease;
    std::optional<Clock::time_point> m_onlyPinnedSince;
    bool m_hasAsked = false;
};

} // namespace host::desk
