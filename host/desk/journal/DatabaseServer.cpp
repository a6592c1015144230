#include <algorithm>
#include <array>
#include <string_view>

#include "host/desk/journal/Database.h"
#include "host/desk/journal/DatabaseUrl.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "platform/Interruption.h"
#include "platform/SecretFile.h"
#include "platform/Sleep.h"

// What a desk on a server takes beside its statements: to find it again when it was away.

namespace host::desk {

namespace {

constexpr std::string_view kPostgresql = ZEL_DESK_POSTGRESQL;
constexpr std::chrono::milliseconds kBetweenServerTries{500};
constexpr std::chrono::milliseconds kServerGlance{100};
constexpr int kMostGlances = 50;
constexpr int kMostGlancesAtName = 30;

/// Whatever the database's own settings are. The last five end what the server keeps for a process that was stopped or
/// whose machine was switched off, its transaction, its rows and its station's name, before others give up waiting.
constexpr std::array kSettings = {
    "SET client_encoding = 'UTF8'",
    "SET client_min_messages = error",
    "SET synchronous_commit = on",
    "SET default_transaction_isolation = 'read committed'",
    "SET standard_conforming_strings = on",
    "SET idle_in_transaction_session_timeout = '10s'",
    "SET lock_timeout = '30s'",
    "SET tcp_keepalives_idle = 10",
    "SET tcp_keepalives_interval = 5",
    "SET tcp_keepalives_count = 2",
};

bool loadPostgresql() {
    const std::vector<std::string> loaded = soci::dynamic_backends::list_all();
    if (std::find(loaded.begin(), loaded.end(), "postgresql") != loaded.end()) {
        return true;
    }
    if (kPostgresql.empty()) {
        throw UsageError("--desk: on Windows a desk is a file; a database of PostgreSQL is used from Linux");
    }
    try {
        soci::dynamic_backends::register_backend("postgresql", std::string(kPostgresql));
    } catch (const soci::soci_error&) {
        throw UsageError("--desk: the library " + std::string(kPostgresql) +
                         " is missing; install the package libsoci-postgresql4.0");
    }
    return true;
}

/// The server gives the lock back when the connection ends.
bool lockName(soci::session& sql, const std::string& station) {
    int isHeld = 0;
    sql << "SELECT CASE WHEN pg_try_advisory_lock(hashtextextended(current_schema() || '/' || :station, 5345)) THEN 1 "
           "ELSE 0 END",
        soci::use(station), soci::into(isHeld);
    return isHeld != 0;
}

/// One line of a password file, for any server; a backslash stands before what has a meaning there.
WipedBytes passwordLine(const WipedBytes& password) {
    constexpr std::string_view kAnyServer = "*:*:*:*:";
    WipedBytes line(kAnyServer.begin(), kAnyServer.end());
    line.reserve(kAnyServer.size() + 2 * password.size() + 1);
    for (const char c : password) {
        if (c == '\n' || c == '\r' || c == '\0') {
            throw UsageError("--desk-password: the password has a line end in it");
        }
        if (c == ':' || c == '\\') {
            line.push_back('\\');
        }
        line.push_back(c);
    }
    line.push_back('\n');
    return line;
}

} // namespace

void Database::connect() {
    [[maybe_unused]] static const bool isLoaded = loadPostgresql(); // by the first thread
    if (m_access.password.empty()) {
        m_session.open("postgresql", connectionText(m_name, ""));
    } else {
        const WipedBytes line = passwordLine(m_access.password);
        const platform::SecretFile file({line.data(), line.size()});
        if (!file.isMade()) {
            throw JournalError("--desk-password: the password cannot be handed to PostgreSQL's library");
        }
        m_session.open("postgresql", connectionText(m_name, file.path()));
    }
    for (const char* const setting : kSettings) {
        m_session << setting;
    }
    std::string encoding;
    m_session << "SHOW server_encoding", soci::into(encoding);
    if (encoding != "UTF8") {
        throw UsageError("--desk: the database is encoded in " + printable(encoding) +
                         "; make one with ENCODING 'UTF8', so that it can hold every name");
    }
}

/// Finds out how the server knows this connection: that is needed when it is lost.
void Database::identify() {
    m_session << "SELECT pid, CAST(EXTRACT(EPOCH FROM backend_start) AS TEXT) FROM pg_stat_activity WHERE pid = "
                 "pg_backend_pid()",
        soci::into(m_process), soci::into(m_processTime);
    if (m_mark.empty()) {
        m_session << "SELECT md5(CAST(random() AS TEXT) || CAST(clock_timestamp() AS TEXT) || CAST(pg_backend_pid() AS "
                     "TEXT))",
            soci::into(m_mark);
    }
}

bool Database::holdName(const std::string& station) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    try {
        bool isHeld = lockName(m_session, station);
        // The server takes a moment to notice that a process was killed.
        for (int i = 0; i < kMostGlancesAtName && !isHeld; ++i) {
            platform::sleepFor(kServerGlance);
            isHeld = lockName(m_session, station);
        }
        m_station = isHeld ? station : "";
        return isHeld;
    } catch (const soci::soci_error& error) {
        throw JournalError(explained(error));
    }
}

std::optional<Database::Clock::duration> Database::sinceReturn() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_return ? std::optional(Clock::now() - *m_return) : std::nullopt;
}

void Database::mark() {
    m_session << "INSERT INTO process VALUES (:id, :number) ON CONFLICT (id) DO UPDATE SET number = excluded.number",
        soci::use(m_mark), soci::use(m_marked);
}

/// After a return: whether the transaction was on disk before the connection was lost. Nothing of the old connection is
/// left then, so that the answer does not change any more.
bool Database::isDone() {
    for (;;) {
        try {
            int isThere = 0;
            long long number = 0;
            m_session << "SELECT CASE WHEN to_regclass('process') IS NULL THEN 0 ELSE 1 END", soci::into(isThere);
            if (isThere != 0) {
                m_session << "SELECT number FROM process WHERE id = :id", soci::use(m_mark), soci::into(number);
            }
            return number == m_marked;
        } catch (const soci::soci_error& error) {
            if (m_session.is_connected()) {
                throw JournalError(explained(error));
            }
        }
        comeBack();
    }
}

/// Ends what the server has left of the lost connection: it may still commit, and it holds the station's name. Returns
/// false when it does not end.
bool Database::endOldConnection() {
    for (int i = 0; i < kMostGlances; ++i) {
        int left = 0;
        m_session << "SELECT COUNT(pg_terminate_backend(pid)) FROM pg_stat_activity WHERE pid = :pid AND "
                     "CAST(EXTRACT(EPOCH FROM backend_start) AS TEXT) = :begun",
            soci::use(m_process), soci::use(m_processTime), soci::into(left);
        if (left == 0) {
            return true;
        }
        platform::sleepFor(kServerGlance);
    }
    return false;
}

/// Returns the reason when it did not work.
std::string Database::tryToComeBack() {
    try {
        m_session.close();
        connect();
        if (!endOldConnection()) {
            return "the server does not end the lost connection";
        }
        identify();
        if (!m_station.empty() && !lockName(m_session, m_station)) {
            giveUp("another process has taken the station's name \"" + printable(m_station) +
                   "\" while the server of the desk was away");
        }
        return "";
    } catch (const soci::soci_error& error) {
        return explained(error);
    }
}

void Database::comeBack() {
    const Clock::time_point deadline = Clock::now() + m_access.patience;
    const std::string seconds = std::to_string(std::chrono::ceil<std::chrono::seconds>(m_access.patience).count());
    tell("the server of the desk went away; work waits for it up to " + seconds + " s");
    for (std::string fault = tryToComeBack(); !fault.empty(); fault = tryToComeBack()) {
        if (Clock::now() >= deadline) {
            giveUp("the server of the desk was away for more than " + seconds + " s: " + fault);
        }
        if (platform::interruption() != 0) {
            giveUp("the work was interrupted while the server of the desk was away: " + fault);
        }
        platform::sleepFor(kBetweenServerTries);
    }
    m_return = Clock::now();
    tell("the server of the desk is back, and work goes on");
}

void Database::tell(const std::string& text) const {
    if (m_access.tell) {
        m_access.tell(text);
    }
}

void Database::giveUp(const std::string& why) {
    m_gaveUp = why;
    throw JournalError(why);
}

} // namespace host::desk
