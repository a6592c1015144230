#include "host/desk/engine/Worker.h"

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "platform/Interruption.h"

namespace host::desk {

namespace {

/// How often a card that stays in its reader may say that it has gone.
constexpr int kMostInterruptions = 3;

/// Nobody sits at a card of a batch.
class Nobody final : public Person {
public:
    [[nodiscard]] WipedBytes secret(const std::string& /*question*/) override {
        throw UsageError("nobody can be asked in a batch");
    }
    [[nodiscard]] std::optional<bool> agrees(const std::string& /*question*/) override { return std::nullopt; }
    void tell(const std::string& /*text*/) override {}
    void show(std::string_view /*text*/) override {}
};

/// Any failure in the three parts that a person reads.
CardFailure explained(const std::exception& error, const std::string& reader) {
    if (const auto* failure = dynamic_cast<const CardFailure*>(&error)) {
        return *failure;
    }
    return {ExitStatus::Failed, "working on the card in reader \"" + printable(reader) + "\"", printable(error.what()),
            "\"p11host issue retry\" tries again."};
}

} // namespace

Worker::Worker(const Bench& bench, SlotView slot, std::string reader, Claim claim, int interruptions)
    : m_bench(bench), m_slot(std::move(slot)), m_reader(std::move(reader)), m_claim(std::move(claim)),
      m_row(bench.persons.at(static_cast<std::size_t>(m_claim.row) - 1).values), m_interruptions(interruptions),
      m_thread([this] { work(); }) {}

Worker::~Worker() {
    m_thread.join();
}

void Worker::tell(Event::Kind kind, const std::string& text) const {
    m_bench.desk.progress.tell({kind, m_reader, m_claim.row, m_row.front(), "", text});
}

void Worker::work() noexcept {
    try {
        workOnCard();
    } catch (const ClaimLost& lost) {
        m_hasFailed = true;
        tell(Event::Kind::Interrupted, lost.what());
    } catch (const std::exception& error) {
        m_journalFault = error.what();
    } catch (...) {
        m_journalFault = "the plug-in threw something that is no exception of the standard library";
    }
    m_hasEnded = true;
}

void Worker::workOnCard() {
    tell(m_claim.stepsDone != 0 || m_claim.isUnderWay ? Event::Kind::Resumed : Event::Kind::Begun, "");
    try {
        Session session(m_bench.plugin, m_bench.module);
        Nobody nobody;
        Token token(session, m_bench.view, m_slot, m_bench.module.readerPrefix.value_or(""), nobody,
                    {.isDryRun = false, .lastTry = LastTry::Stop, .showsProgress = false});
        carryOut(token);
    } catch (const CardFailure& failure) {
        endFailed(failure, nullptr); // the executor did not take the card
    } catch (const PluginError& error) {
        endFailed(explained(error, m_reader), nullptr);
    }
}

void Worker::carryOut(Token& token) {
    CardWork work(m_bench.plan, m_row, m_claim, token, m_bench.desk);
    try {
        work.run();
        tell(Event::Kind::Done, "");
    } catch (const JournalError&) {
        throw;
    } catch (const ClaimLost&) {
        throw;
    } catch (const Interrupted&) {
        endInterrupted("it was interrupted");
    } catch (const std::exception& error) {
        endFailed(explained(error, m_reader), &work);
    }
}

/// A card that was pulled out and put back is there again. One that says so time and again without having moved is
/// broken.
bool Worker::hasGoneAway(const CardFailure& failure, const CardWork* work) const {
    try {
        const SlotView now = m_bench.view.slot(m_slot.id);
        const std::string& serial = work == nullptr ? m_slot.token->serial : work->serial();
        if ((!now.token && now.hasAnswered) || (now.token && !serial.empty() && now.token->serial != serial)) {
            return true;
        }
    } catch (const ModuleError&) {
        return true; // the reader has gone with it
    }
    const bool saysSo = failure.status == ExitStatus::NoToken || failure.result == "CKR_DEVICE_REMOVED" ||
                        failure.result == "CKR_TOKEN_NOT_PRESENT";
    return saysSo && m_interruptions + 1 < kMostInterruptions;
}

void Worker::endInterrupted(const std::string& reason) {
    m_wasInterrupted = true;
    m_bench.desk.journal.fail(m_claim, {AttemptState::Interrupted, RowState::Waiting, reason, ""});
    tell(Event::Kind::Interrupted, reason);
}

std::string Worker::rolledBack(CardWork* work) const {
    if (work == nullptr) {
        return "";
    }
    try {
        const std::string left = work->rollBack();
        return left.empty() ? "" : "; what cannot be removed alone stays on the card: " + left;
    } catch (const JournalError&) {
        throw;
    } catch (const std::exception& error) {
        return std::string("; what this card got could not be removed: ") + error.what();
    }
}

void Worker::endFailed(const CardFailure& failure, CardWork* work) {
    const std::string what = failure.result.empty() ? "" : failure.result + ": ";
    std::string reason = failure.doing + ": " + what + failure.reason;
    if (hasGoneAway(failure, work)) {
        return endInterrupted("the card went away: " + reason);
    }
    if (m_bench.plan.onFailure == OnFailure::Rollback && platform::interruption() != 0) {
        return endInterrupted("it was interrupted before it was rolled back: " + reason);
    }
    Journal::Failure end{AttemptState::Failed, RowState::Failed, "", failure.remedy};
    if (m_bench.plan.onFailure == OnFailure::Rollback) {
        reason += rolledBack(work);
        end.attempt = AttemptState::Undone;
    } else if (m_bench.plan.onFailure == OnFailure::Retry && m_claim.failures + 1 < m_bench.plan.attempts) {
        end.row = RowState::Waiting;
    }
    const bool isAgain = end.row == RowState::Waiting && work != nullptr && !work->serial().empty();
    m_hasFailed = !isAgain;
    end.reason = reason;
    m_bench.desk.journal.fail(m_claim, end);
    tell(Event::Kind::Failed, reason + "\n" + failure.remedy);
}

} // namespace host::desk
