#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/desk/journal/DeskRecord.h"
#include "text/Wiped.h"

namespace platform {
class FileLock;
}

namespace host::desk {

class Database;

/// The desk's database does not do what it must: it is away, full, damaged, or of another kind. What was asked for did
/// not happen, or its outcome is not known.
class JournalError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What to do when the file of a desk is not there. `Look` refuses as `Refuse` does, and opens the desk for reading:
/// the right to read the file is enough, and nothing is written beside it then.
enum class IfMissing { Make, Refuse, Look };

/// How a desk on a server is spoken to.
struct ServerAccess {
    WipedBytes password; ///< empty: the client library looks for it where PostgreSQL's programs do
    /// How long the server may be away before work ends.
    std::chrono::milliseconds patience{60'000};
    /// Receives sentences for a person, when work waits for the server and when it goes on. Called from any thread.
    std::function<void(const std::string& text)> tell;
};

/// What a desk is for. It does not change while the desk lives.
struct DeskPlan {
    std::string name;
    std::string digest; ///< of the plan's file
    std::vector<std::string> steps;
};

/// A person as the journal knows him: not the values themselves.
struct DeskRow {
    std::int64_t row = 0; ///< from 1
    std::string who;      ///< the value of the first column
    std::string digest;   ///< of all values of the plan's columns
};

/// A row that a station works on, as long as it keeps the lease.
struct Claim {
    std::int64_t row = 0;
    std::int64_t attempt = 0;
    std::string station;
    std::string serial;      ///< of the card; empty for a blank one
    int failures = 0;        ///< earlier attempts of this row that failed
    int stepsDone = 0;       ///< of the plan, when work goes on
    bool isUnderWay = false; ///< the step behind them was begun, and how far it came is not known
    std::string certificate; ///< PEM, the last one with which the authority has answered
};

/// What the journal knows of a card.
struct KnownCard {
    std::int64_t row = 0;
    AttemptState state = AttemptState::Running;
    bool isLatest = false; ///< no other card was begun for this row since
    RowState rowState = RowState::Waiting;
};

/// The row of a claim belongs to another station now: the lease was not renewed in time. Stop working on the card.
class ClaimLost : public std::runtime_error {
public:
    ClaimLost() : std::runtime_error("another station has taken the row, because this one did not answer in time") {}
};

/// How long a row stays with a station that no longer renews it.
inline constexpr std::int64_t kLeaseSeconds = 30;

/// The journal of a desk: what is done with whose card, on disk before the next thing is done. It holds no secret. All
/// operations throw JournalError when the database fails, and those with a claim ClaimLost when it is lost. They may be
/// called from several threads.
///
/// When the server of a desk goes away, they wait for it, and what they do happens once, even if the answer to it was
/// lost. After a JournalError because it stayed away nothing is tried any more.
///
///     Journal journal("desk.db", IfMissing::Make);
///     journal.setUp(plan, rows);
///     const std::optional<Claim> claim = journal.claimBlank("north", "Reader 1", Pinned::Leave);
///     journal.beginStep(*claim, 1, "init-token");
class Journal {
public:
    /// Opens the desk: a file of SQLite, or a database of PostgreSQL that its URL names. UsageError for a file that is
    /// missing or no desk, and for a URL with a password in it. A damaged file is left as it is.
    Journal(const std::string& desk, IfMissing ifMissing, ServerAccess access = {});
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;
    ~Journal();

    /// Makes the tables and rows of a new desk. UsageError when the desk is that of another plan or another list.
    void setUp(const DeskPlan& plan, const std::vector<DeskRow>& rows);
    /// UsageError when the database holds no desk.
    void requireDesk();
    /// Holds the name of a station until this object or the process ends. UsageError when another process holds it.
    void holdStation(const std::string& station);

    /// Ends what an earlier process of this station left under way: attempts are interrupted, their rows wait again.
    /// Call it when the station's name is held. Returns how many there were.
    int recover(const std::string& station);
    /// The same for stations whose lease has ended. Nothing for 30 s after a server came back: the others have to find
    /// it before they can renew theirs.
    int expireLeases();
    /// Renews the leases of a station.
    void renewLeases(const std::string& station);

    /// Whether another card may take a row that waits for a card on which its work was interrupted.
    enum class Pinned { Leave, Take };
    /// Takes the first row that waits, for a blank card. What an earlier attempt got from the authority is noted for
    /// revocation. nullopt when no row waits.
    [[nodiscard]] std::optional<Claim> claimBlank(const std::string& station, const std::string& reader, Pinned pinned);
    /// Takes the row of an interrupted card, to go on with it. nullopt when somebody else has taken it.
    [[nodiscard]] std::optional<Claim> claimToResume(const std::string& station, const std::string& reader,
                                                     const std::string& serial);
    /// Takes the row of a card that failed or was interrupted, to begin anew with the same card.
    [[nodiscard]] std::optional<Claim> claimToErase(const std::string& station, const std::string& reader,
                                                    const std::string& serial);
    /// The same for a used card that the journal does not know.
    [[nodiscard]] std::optional<Claim> claimUsed(const std::string& station, const std::string& reader,
                                                 const std::string& serial, Pinned pinned);

    /// What the journal knows of the card with this serial; nullopt when it knows nothing.
    [[nodiscard]] std::optional<KnownCard> findCard(const std::string& serial);

    /// The step with this number (from 1) begins. The one that was under way has ended well.
    void beginStep(const Claim& claim, int number, const std::string& name);
    /// The step under way has ended well, and the card shows this serial.
    void setSerial(const Claim& claim, const std::string& serial);
    /// The step under way has ended well: the authority has answered with this certificate.
    void setCertificate(const Claim& claim, const std::string& pem);
    /// A certificate that is of no use; without text when the authority may have signed one and nobody received it.
    void revoke(const Claim& claim, const std::string& pem, const std::string& reason);

    /// The step under way has ended well, and the card is done.
    void finish(const Claim& claim);
    /// How an attempt ends that is not done.
    struct Failure {
        AttemptState attempt = AttemptState::Failed;
        RowState row = RowState::Failed;
        std::string reason;
        std::string remedy;
    };
    /// The attempt ends. Unless it is Interrupted, its certificate is noted for revocation.
    void fail(const Claim& claim, const Failure& failure);

    /// A row and whose it is.
    struct Person {
        std::int64_t row = 0;
        std::string who;
    };
    /// Makes failed rows wait again, and returns them in their order.
    std::vector<Person> retryFailed();
    /// Makes the row of a lost card wait again; its certificate is noted for revocation. UsageError when it is not
    /// done.
    Person redo(std::int64_t row);
    /// Takes a row out of the batch that waits or failed. UsageError when it is not there, under way, done or dropped.
    Person drop(std::int64_t row);

    /// How many rows are in each state.
    struct Totals {
        std::int64_t waiting = 0;
        std::int64_t running = 0;
        std::int64_t done = 0;
        std::int64_t failed = 0;
        std::int64_t dropped = 0;
        [[nodiscard]] std::int64_t total() const noexcept { return waiting + running + done + failed; }
    };
    [[nodiscard]] Totals totals();
    /// Returns true when a row waits or is under way. Does not look at all rows, as totals does.
    [[nodiscard]] bool hasOpenRows();

    /// Everything, at one moment.
    [[nodiscard]] DeskRecord read();

private:
    [[nodiscard]] std::optional<Claim> claimCard(const std::string& station, const std::string& reader,
                                                 const std::string& serial, bool resumes);
    [[nodiscard]] std::optional<Claim> claimRow(const std::string& rows, const std::string& station,
                                                const std::string& reader, const std::string& serial);

    std::unique_ptr<Database> m_database;
    std::unique_ptr<platform::FileLock> m_station; ///< of a desk in a file
};

/// The words of the journal and of its exports: "waiting", "interrupted".
[[nodiscard]] const char* nameOf(RowState state) noexcept;
[[nodiscard]] const char* nameOf(AttemptState state) noexcept;

} // namespace host::desk
