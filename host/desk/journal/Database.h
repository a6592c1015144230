#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>

#include <soci/soci.h>

#include "host/desk/journal/Journal.h"

namespace host::desk {

/// The database that holds a desk: a file of SQLite, or a database of PostgreSQL that its URL names. Statements are the
/// same for both but for the two texts below. Usable from several threads, one at a time.
///
/// A server that ends the connection is waited for. The work under way is done again then, unless the server has it
/// already, so that it happens once.
class Database {
public:
    /// UsageError for a file that is missing, that is no desk, or for a URL with a password in it. JournalError when
    /// the database cannot be opened or is damaged; such a file is left as it is.
    Database(const std::string& desk, IfMissing ifMissing, ServerAccess access);

    /// Runs `work(session)` as one transaction: all of it is on disk afterwards, or nothing is. It runs again when the
    /// server went away, so it must not change anything outside. JournalError for what the database reports; other
    /// exceptions pass.
    template <class Work>
    auto transact(Work&& work) {
        return resultOf(Kind::Change, work);
    }
    /// The same for work that only reads: all of it sees one moment.
    template <class Work>
    auto look(Work&& work) {
        return resultOf(Kind::Look, work);
    }

    /// Of a server: holds the name of a station as long as the connection lasts, and takes it again after the
    /// connection was lost. Returns false when another process holds it.
    [[nodiscard]] bool holdName(const std::string& station);
    /// How long ago a server came back; nullopt when it was never away.
    [[nodiscard]] std::optional<std::chrono::steady_clock::duration> sinceReturn();

    /// An SQL expression for this moment, in microseconds since the Unix epoch by the database's clock.
    [[nodiscard]] const char* now() const noexcept;
    /// What a SELECT has at its end that takes rows: others skip them.
    [[nodiscard]] const char* takingRows() const noexcept { return m_isSqlite ? "" : " FOR UPDATE SKIP LOCKED"; }
    [[nodiscard]] bool isSqlite() const noexcept { return m_isSqlite; }
    /// The file's name or the URL, as the person gave it.
    [[nodiscard]] const std::string& name() const noexcept { return m_name; }

private:
    enum class Kind { Change, Look };
    using Clock = std::chrono::steady_clock;
    using Work = std::function<void(soci::session&)>;
    class Transaction;

    template <class Function>
    auto resultOf(Kind kind, Function& work) {
        using Result = decltype(work(m_session));
        if constexpr (std::is_void_v<Result>) {
            run(kind, [&](soci::session& sql) { work(sql); });
        } else {
            std::optional<Result> result;
            run(kind, [&](soci::session& sql) { result.emplace(work(sql)); });
            return std::move(*result);
        }
    }

    void run(Kind kind, const Work& work);
    void attempt(Kind kind, const Work& work);
    void openFile(IfMissing ifMissing);
    void openForReading();
    void requireOurs();
    void setUpSqlite();
    void requireUnchanged() const;
    [[nodiscard]] std::string damaged(const std::string& how) const;
    [[nodiscard]] std::string explained(const soci::soci_error& error) const;

    // Of a server.
    void connect();
    void identify();
    void comeBack();
    [[nodiscard]] std::string tryToComeBack();
    [[nodiscard]] bool endOldConnection();
    void mark();
    [[nodiscard]] bool isDone();
    void tell(const std::string& text) const;
    [[noreturn]] void giveUp(const std::string& why);

    std::string m_name;
    bool m_isSqlite;
    std::optional<std::filesystem::file_time_type> m_written; ///< of a file that is read without locks: when it was
    ServerAccess m_access;
    std::mutex m_mutex;
    soci::session m_session;
    std::string m_station;     ///< whose name is held; empty: nobody's
    std::string m_mark;        ///< this object's row in the table "process"
    long long m_marked = 0;    ///< number of the transaction under way, written into that row with it
    long long m_process = 0;   ///< of the server, for this connection
    std::string m_processTime; ///< when that began, which tells it from a later one of the same number
    std::string m_gaveUp;      ///< why nothing is tried any more
    std::optional<Clock::time_point> m_return;
};

} // namespace host::desk
