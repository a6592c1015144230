#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "host/desk/engine/CardWork.h"
#include "host/desk/list/PersonList.h"
#include "host/inspect/ModuleView.h"
#include "host/plugin/PluginLibrary.h"
#include "host/scripts/Session.h"

namespace host::desk {

/// What a run of the desk works with. All of it outlives the run.
struct Bench {
    const Plan& plan;
    const std::vector<ListedPerson>& persons;
    CardWork::Desk desk;
    const Plugin& plugin;
    ModuleChoice module;
    const ModuleView& view;
};

/// One card on its way: a thread with an executor of its own, from the claim to its end in the journal.
class Worker {
public:
    /// `reader` is how a person knows the reader; `interruptions` is how often this run has begun with the row and was
    /// interrupted.
    Worker(const Bench& bench, SlotView slot, std::string reader, Claim claim, int interruptions);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    /// Waits for the end.
    ~Worker();

    [[nodiscard]] bool hasEnded() const noexcept { return m_hasEnded; }
    [[nodiscard]] std::uint64_t slot() const noexcept { return m_slot.id; }
    [[nodiscard]] std::int64_t row() const noexcept { return m_claim.row; }
    /// After the end: work stopped in the middle, and its row waits for the card.
    [[nodiscard]] bool wasInterrupted() const noexcept { return m_wasInterrupted; }
    /// The slot as it was at the beginning.
    [[nodiscard]] const SlotView& slotView() const noexcept { return m_slot; }
    /// After the end: the card is not fit for another try as it is.
    [[nodiscard]] bool hasFailed() const noexcept { return m_hasFailed; }
    /// After the end: why the journal cannot be kept; empty when it can.
    [[nodiscard]] const std::string& journalFault() const noexcept { return m_journalFault; }

private:
    void work() noexcept;
    void workOnCard();
    void carryOut(Token& token);
    void endFailed(const CardFailure& failure, CardWork* work);
    void endInterrupted(const std::string& reason);
    [[nodiscard]] bool hasGoneAway(const CardFailure& failure, const CardWork* work) const;
    [[nodiscard]] std::string rolledBack(CardWork* work) const;
    void tell(Event::Kind kind, const std::string& text) const;

    const Bench& m_bench;
    SlotView m_slot;
    std::string m_reader;
    Claim m_claim;
    const RowValues& m_row;
    std::atomic<bool> m_hasEnded = false;
    int m_interruptions;
    bool m_hasFailed = false;
    bool m_wasInterrupted = false;
    std::string m_journalFault;
    std::thread m_thread; ///< last: it begins when all else is there
};

} // namespace host::desk
