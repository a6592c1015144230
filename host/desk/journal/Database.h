#pragma once

#include <mutex>
#include <string>
#include <type_traits>

#include <soci/soci.h>

#include "host/desk/journal/Journal.h"

namespace host::desk {

/// The database that holds a desk: a file of SQLite, or a database of PostgreSQL that its URL names. Statements are the
/// same for both but for the two texts below. Usable from several threads, one at a time.
class Database {
public:
    /// UsageError for a file that is missing, that is no desk, or for a URL with a password in it. JournalError when
    /// the database cannot be opened or is damaged; such a file is left as it is.
    Database(const std::string& desk, IfMissing ifMissing);

    /// Runs `work(session)` as one transaction: all of it is on disk afterwards, or nothing is. JournalError for what
    /// the database reports; other exceptions pass.
    template <class Work>
    auto transact(Work&& work) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        try {
            Transaction transaction(m_session, m_isSqlite);
            if constexpr (std::is_void_v<decltype(work(m_session))>) {
                work(m_session);
                transaction.commit();
            } else {
                auto result = work(m_session);
                transaction.commit();
                return result;
            }
        } catch (const soci::soci_error& error) {
            throw JournalError(explained(error));
        }
    }

    /// An SQL expression for this moment, in microseconds since the Unix epoch by the database's clock.
    [[nodiscard]] const char* now() const noexcept;
    /// What a SELECT has at its end that takes rows: others skip them.
    [[nodiscard]] const char* takingRows() const noexcept { return m_isSqlite ? "" : " FOR UPDATE SKIP LOCKED"; }
    [[nodiscard]] bool isSqlite() const noexcept { return m_isSqlite; }
    /// The file's name or the URL, as the person gave it.
    [[nodiscard]] const std::string& name() const noexcept { return m_name; }

private:
    /// Rolled back unless committed.
    class Transaction {
    public:
        Transaction(soci::session& session, bool isSqlite);
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        ~Transaction();
        void commit();

    private:
        soci::session& m_session;
        bool m_isOpen = true;
    };

    void open(IfMissing ifMissing);
    void setUpSqlite();
    [[nodiscard]] std::string damaged(const std::string& how) const;
    [[nodiscard]] std::string explained(const soci::soci_error& error) const;

    std::string m_name;
    bool m_isSqlite;
    std::mutex m_mutex;
    soci::session m_session;
};

} // namespace host::desk
