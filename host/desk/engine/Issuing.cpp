#include "host/desk/engine/Issuing.h"

#include <algorithm>
#include <iterator>

#include "host/card/TokenChoice.h"
#include "host/desk/engine/Look.h"
#include "host/plugin/Texts.h"
#include "platform/Interruption.h"
#include "platform/Sleep.h"

namespace host::desk {

namespace {

constexpr std::chrono::milliseconds kPoll{500};
constexpr std::chrono::milliseconds kGlance{50}; ///< how often the end of a worker and Ctrl-C are noticed
constexpr std::chrono::seconds kLeases{10};
constexpr std::size_t kMostNamed = 10;
/// How long rows wait for their interrupted cards while blank ones are there.
constexpr std::chrono::seconds kPatience{30};

/// What tells two cards in one reader apart.
std::string cardIn(const SlotView& slot) {
    const TokenView& token = *slot.token;
    return (token.isInitialised ? "used " : "blank ") + token.serial + "\n" + token.label;
}

} // namespace

Issuing::Issuing(const Bench& bench, std::string station, std::vector<std::string> readers)
    : m_bench(bench), m_station(std::move(station)), m_readers(std::move(readers)), m_nextLease(Clock::now()) {
    for (const ListedPerson& person : bench.persons) {
        m_labels.insert(bench.plan.tokenLabel(person.values));
    }
}

Outcome Issuing::run() {
    m_bench.desk.journal.recover(m_station);
    tellStand();
    Clock::time_point nextPoll = Clock::now();
    while (platform::interruption() == 0) {
        reap();
        if (Clock::now() >= nextPoll) {
            nextPoll = Clock::now() + kPoll;
            keepLeases();
            if (isFinished()) {
                return m_bench.desk.journal.totals().failed == 0 ? Outcome::AllDone : Outcome::SomeFailed;
            }
            poll();
        }
        platform::sleepFor(kGlance);
    }
    if (!m_workers.empty()) {
        m_bench.desk.progress.tell(
            {Event::Kind::Note, "", 0, "", "", "stopping when the steps under way have ended; Ctrl-C stops at once"});
    }
    while (!m_workers.empty()) { // each ends its step
        reap();
        keepLeases();
        platform::sleepFor(kGlance);
    }
    return Outcome::Interrupted;
}

void Issuing::tellStand() {
    const Journal::Totals totals = m_bench.desk.journal.totals();
    m_bench.desk.progress.tellStand({totals.done, totals.failed, totals.total()});
}

void Issuing::reap() {
    std::string fault;
    bool hasFailed = false;
    for (auto worker = m_workers.begin(); worker != m_workers.end();) {
        if (!worker->hasEnded()) {
            ++worker;
            continue;
        }
        fault = worker->journalFault().empty() ? fault : worker->journalFault();
        hasFailed = hasFailed || worker->hasFailed();
        if (!worker->hasFailed()) {
            m_seen.erase(worker->slot());
        }
        m_interruptions[worker->row()] += worker->wasInterrupted() ? 1 : 0;
        worker = m_workers.erase(worker);
    }
    if (!fault.empty()) {
        m_workers.clear(); // waits for the others, which meet the same fault at their next step
        throw JournalError(fault);
    }
    if (hasFailed) {
        tellStand();
    }
}

void Issuing::keepLeases() {
    if (Clock::now() < m_nextLease) {
        return;
    }
    m_nextLease = Clock::now() + kLeases;
    m_bench.desk.journal.renewLeases(m_station);
    m_bench.desk.journal.expireLeases();
    tellStand();
    std::erase_if(m_seen, [](const auto& entry) { return !entry.second.isForGood; });
}

bool Issuing::isFinished() {
    if (!m_workers.empty()) {
        return false;
    }
    return !m_bench.desk.journal.hasOpenRows();
}

const Worker* Issuing::workerAt(std::uint64_t slot) const {
    const auto worker =
        std::find_if(m_workers.begin(), m_workers.end(), [&](const Worker& each) { return each.slot() == slot; });
    return worker == m_workers.end() ? nullptr : &*worker;
}

bool Issuing::isMeant(const std::string& reader) const {
    return m_readers.empty() || std::any_of(m_readers.begin(), m_readers.end(),
                                            [&](const std::string& pattern) { return fitsGlob(reader, pattern); });
}

void Issuing::noteFault(const std::string& fault) {
    if (!fault.empty() && m_told.insert(fault).second) {
        m_bench.desk.progress.tell({Event::Kind::Note, "", 0, "", "", "the module: " + fault});
    }
}

/// A card that is worked on is not looked at: that would take the module's time from the others.
std::vector<SlotView> Issuing::look() {
    std::vector<std::uint64_t> idle;
    const std::vector<std::uint64_t> numbers = m_bench.view.slotNumbers();
    std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(idle),
                 [&](std::uint64_t slot) { return workerAt(slot) == nullptr; });
    Look look = lookAtSlots(m_bench.view, idle);
    // A reader may vanish while it is looked at; one that stays away is not in the next list.
    noteFault(look.fault);
    std::vector<SlotView> slots;
    auto seen = look.slots.begin();
    for (const std::uint64_t number : numbers) {
        if (const Worker* const worker = workerAt(number)) {
            slots.push_back(worker->slotView());
        } else if (seen != look.slots.end() && seen->id == number) {
            slots.push_back(std::move(*seen++));
        }
    }
    return slots;
}

void Issuing::poll() {
    std::vector<SlotView> slots;
    try {
        slots = look();
    } catch (const ModuleError& error) {
        return noteFault(error.what());
    }
    // Cards that the journal knows come first: their rows are not to go to blank ones.
    lookAt(slots, true);
    lookAt(slots, false);
    if (m_workers.empty() && !m_hasAsked) {
        m_hasAsked = true;
        notePatterns(slots);
        const bool isInterrupted = std::any_of(m_interruptions.begin(), m_interruptions.end(),
                                               [](const auto& row) { return row.second != 0; });
        m_bench.desk.progress.tell({Event::Kind::Waiting, "", 0, "", "",
                                    isInterrupted ? "put the card back whose work was interrupted, or a blank one"
                                                  : "put a blank card into a reader"});
    }
}

/// Patterns that fit no reader are most likely misspelt.
void Issuing::notePatterns(const std::vector<SlotView>& slots) {
    const std::vector<std::string> names = shownNames(slots);
    if (std::any_of(names.begin(), names.end(), [&](const std::string& name) { return isMeant(name); })) {
        return;
    }
    std::string readers;
    for (std::size_t i = 0; i < std::min(names.size(), kMostNamed); ++i) {
        readers += (i == 0 ? ": \"" : ", \"") + names[i] + "\"";
    }
    const std::string more = names.size() > kMostNamed ? ", and more" : "";
    m_bench.desk.progress.tell(
        {Event::Kind::Note, "", 0, "", "",
         names.empty() ? "the module shows no reader" : "--readers fits none of the readers" + readers + more});
}

void Issuing::lookAt(const std::vector<SlotView>& slots, bool isInitialised) {
    const std::vector<std::string> names = shownNames(slots);
    std::set<std::string> passed;
    std::erase_if(m_seen, [&](const auto& seen) {
        return std::none_of(slots.begin(), slots.end(), [&](const SlotView& slot) { return slot.id == seen.first; });
    });
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const SlotView& slot = slots[i];
        // The plug-in finds a reader by its name, and finds the first one of that name.
        const bool isFirst = passed.insert(slot.name).second;
        if (!slot.token && slot.hasAnswered) {
            m_seen.erase(slot.id);
        }
        if (!slot.token || slot.token->isInitialised != isInitialised || !isMeant(names[i]) ||
            workerAt(slot.id) != nullptr) {
            continue;
        }
        const auto seen = m_seen.find(slot.id);
        if (seen == m_seen.end() || seen->second.card != cardIn(slot)) {
            isFirst ? consider(slot, names[i]) : leave(slot, names[i], "another reader has the same name");
        }
    }
}

void Issuing::leave(const SlotView& slot, const std::string& reader, const std::string& reason) {
    const std::string card = cardIn(slot);
    m_seen[slot.id] = {card, false};
    if (!reason.empty() && m_told.insert(card + "\n" + reason).second) {
        m_bench.desk.progress.tell({Event::Kind::LeftAlone, reader, 0, slot.token->label, "", reason});
    }
}

void Issuing::consider(const SlotView& slot, const std::string& reader) {
    Journal& journal = m_bench.desk.journal;
    const std::string& serial = slot.token->serial;
    const bool isUsed = slot.token->isInitialised;
    if (isUsed && serial.empty()) {
        return leave(slot, reader, "it has no serial number");
    }
    const std::optional<KnownCard> known = isUsed ? journal.findCard(serial) : std::nullopt;
    const Decision decision = decide(*slot.token, known, m_bench.plan, m_labels);
    switch (decision.use) {
    case CardUse::Blank:
    case CardUse::Used:
        return considerNew(slot, reader);
    case CardUse::Resume:
        return start(slot, reader, journal.claimToResume(m_station, reader, serial));
    case CardUse::Erase:
        return start(slot, reader, journal.claimToErase(m_station, reader, serial));
    default:
        return leave(slot, reader, decision.reason);
    }
}

/// A card for the next person. A row that was interrupted waits for its own card first.
void Issuing::considerNew(const SlotView& slot, const std::string& reader) {
    Journal& journal = m_bench.desk.journal;
    const auto claim = [&](Journal::Pinned pinned) {
        return slot.token->isInitialised ? journal.claimUsed(m_station, reader, slot.token->serial, pinned)
                                         : journal.claimBlank(m_station, reader, pinned);
    };
    std::optional<Claim> free = claim(Journal::Pinned::Leave);
    if (free) {
        m_onlyPinnedSince.reset();
        return start(slot, reader, std::move(free));
    }
    if (!m_workers.empty()) {
        return;
    }
    m_onlyPinnedSince = m_onlyPinnedSince.value_or(Clock::now());
    if (Clock::now() - *m_onlyPinnedSince > kPatience) {
        start(slot, reader, claim(Journal::Pinned::Take));
    }
}

void Issuing::start(const SlotView& slot, const std::string& reader, std::optional<Claim> claim) {
    if (!claim) {
        return; // nobody waits, or another station was faster
    }
    // A card that fails is not taken again before it was changed; one that is erased for another try is another card.
    m_seen[slot.id] = {cardIn(slot), !slot.token->isInitialised};
    m_hasAsked = false;
    const int interruptions = m_interruptions[claim->row];
    m_workers.emplace_back(m_bench, slot, reader, std::move(*claim), interruptions);
}

} // namespace host::desk
