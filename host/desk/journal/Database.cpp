#include "host/desk/journal/Database.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <string_view>

#include <soci/sqlite3/soci-sqlite3.h>

#include "host/desk/journal/DatabaseUrl.h"
#include "host/desk/journal/DeskFile.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

namespace fs = std::filesystem;

/// Marks a file of SQLite as a desk: "P11D".
constexpr int kApplicationId = 0x50313144;
/// Often enough for a server that goes away again and again.
constexpr int kMostTries = 10;

bool isAsciiWord(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// As SOCI and SQLite take it: a URI has no blanks and no quotes.
std::string uriOf(const std::string& file) {
    constexpr std::string_view kPlain = "/._~-:";
    const std::u8string full = fs::absolute(pathOf(file)).generic_u8string();
    std::string uri = full.substr(0, 1) == u8"/" ? "file://" : "file:///";
    for (const char8_t c : full) {
        const char byte = static_cast<char>(c);
        if (isAsciiWord(byte) || kPlain.find(byte) != std::string_view::npos) {
            uri.push_back(byte);
        } else {
            uri.append("%").append(hexadecimalText({&byte, 1}));
        }
    }
    return uri;
}

/// Whether SQLite can write the file and those that it keeps beside it.
bool canBeChanged(const fs::path& file) {
    const std::string probe = ".probe" + std::to_string(std::random_device()());
    std::error_code ignored;
    return std::fstream(file, std::ios::binary | std::ios::in | std::ios::out).is_open() &&
           fs::create_directory(besideDesk(file, probe.c_str()), ignored) &&
           fs::remove(besideDesk(file, probe.c_str()), ignored);
}

/// Servers explain themselves in several lines.
std::string oneLine(const std::string& text) {
    std::string line;
    for (const char c : text) {
        const bool isBlank = c == '\n' || c == '\t' || c == ' ';
        if (!isBlank) {
            line += c;
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

} // namespace

/// Rolled back unless committed.
class Database::Transaction {
public:
    Transaction(soci::session& session, const char* begin) : m_session(session) { m_session << begin; }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction() {
        if (!m_isOpen) {
            return;
        }
        try {
            m_session << "ROLLBACK";
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the database has ended it by itself
        }
    }
    void commit() {
        m_session << "COMMIT";
        m_isOpen = false;
    }

private:
    soci::session& m_session;
    bool m_isOpen = true;
};

Database::Database(const std::string& desk, IfMissing ifMissing, ServerAccess access)
    : m_name(desk), m_isSqlite(!isServerUrl(desk)), m_access(std::move(access)) {
    if (!m_isSqlite) {
        refusePassword(m_name);
    } else if (isKeyValueText(m_name)) {
        throw UsageError("--desk: a database of PostgreSQL is named by a URL, such as postgresql://USER@HOST/DATABASE, "
                         "and a file of such a name as ./NAME");
    } else if (!m_access.password.empty()) {
        throw UsageError("--desk-password: a desk in a file has no password");
    }
    try {
        if (m_isSqlite) {
            openFile(ifMissing);
        } else {
            connect();
            identify();
        }
    } catch (const soci::soci_error& error) {
        throw JournalError(explained(error));
    }
}

void Database::openFile(IfMissing ifMissing) {
    std::error_code ignored;
    if (ifMissing != IfMissing::Make && !fs::exists(pathOf(m_name), ignored)) {
        throw UsageError("--desk: there is no desk \"" + printable(m_name) + "\"");
    }
    checkDeskFile(pathOf(m_name), ifMissing);
    if (ifMissing == IfMissing::Look && !canBeChanged(pathOf(m_name))) {
        openForReading();
        return;
    }
    m_session.open(soci::sqlite3, "db=" + uriOf(m_name) + " timeout=10");
    setUpSqlite();
}

/// Makes no file beside the desk: in a folder of other people it would be in the way of their stations.
void Database::openForReading() {
    std::error_code error;
    const fs::path file = pathOf(m_name);
    const fs::path log = besideDesk(file, "-wal");
    if (!std::ifstream(file, std::ios::binary).is_open()) {
        throw UsageError("--desk: the file \"" + printable(m_name) + "\" cannot be read; ask its owner for the right");
    }
    const bool hasLog = fs::exists(log, error) && fs::file_size(log, error) != 0;
    if (hasLog && (!std::ifstream(log).is_open() || !std::ifstream(besideDesk(file, "-shm")).is_open())) {
        throw UsageError("--desk: the last steps of the desk stand in \"" + printable(m_name) +
                         "-wal\", which cannot be read without \"" + printable(m_name) +
                         "-shm\"; ask for the right to read both, or have the owner run \"p11host issue status\"");
    }
    if (!hasLog) {
        m_written = fs::last_write_time(file);
    }
    m_session.open(soci::sqlite3,
                   "db=" + uriOf(m_name) + (hasLog ? "?mode=ro&readonly_shm=1" : "?immutable=1") + " timeout=10");
    requireOurs();
}

/// A file without a log is read as it stands: a station that begins meanwhile shows in what it writes.
void Database::requireUnchanged() const {
    std::error_code error;
    const fs::path file = pathOf(m_name);
    const fs::path log = besideDesk(file, "-wal");
    const bool hasLog = fs::exists(log, error) && fs::file_size(log, error) != 0;
    if (m_written && (hasLog || fs::last_write_time(file, error) != *m_written)) {
        throw JournalError("the desk \"" + printable(m_name) +
                           "\" was changed while it was read; run the command again");
    }
}

/// Nothing is written to a file that is no desk, or that is damaged.
void Database::setUpSqlite() {
    // Not a part of the text above: SOCI would leak the connection to a file that is no database.
    m_session << "PRAGMA synchronous=FULL";
    requireOurs();
    int id = 0;
    std::string mode;
    m_session << "PRAGMA application_id", soci::into(id);
    if (id != kApplicationId) {
        // Names and certificates are nobody else's business. SQLite gives its other files the rights of this one.
        std::error_code ignored; // a file system without rights
        fs::permissions(pathOf(m_name), fs::perms::owner_read | fs::perms::owner_write, ignored);
    }
    m_session << "PRAGMA journal_mode=WAL", soci::into(mode);
    if (mode != "wal") {
        throw JournalError("the desk \"" + printable(m_name) +
                           "\" cannot be kept safely where it is; put the file on a local disk");
    }
    if (id != kApplicationId) {
        m_session << "PRAGMA application_id=" + std::to_string(kApplicationId);
    }
}

/// Refuses a file that is no desk, or that is damaged.
void Database::requireOurs() {
    int id = 0;
    int tables = 0;
    std::string check;
    m_session << "PRAGMA application_id", soci::into(id);
    m_session << "SELECT COUNT(*) FROM sqlite_master", soci::into(tables);
    if (id != kApplicationId && (id != 0 || tables != 0)) {
        throw UsageError("--desk: the file \"" + printable(m_name) + "\" is a database of another program");
    }
    m_session << "PRAGMA integrity_check(1)", soci::into(check);
    if (check != "ok") {
        throw JournalError(damaged(check));
    }
    // A desk has tables alone; a view in a table's place may never end.
    m_session << "SELECT COUNT(*) FROM sqlite_master WHERE type IN ('view', 'trigger')", soci::into(tables);
    if (tables != 0) {
        throw JournalError(damaged("it has views or triggers, which this program does not make"));
    }
}

const char* Database::now() const noexcept {
    return m_isSqlite ? "CAST(round((julianday('now') - 2440587.5) * 86400000.0) AS INTEGER) * 1000"
                      : "CAST(EXTRACT(EPOCH FROM clock_timestamp()) * 1000000 AS BIGINT)";
}

std::string Database::damaged(const std::string& how) const {
    return "the desk \"" + printable(m_name) + "\" is damaged or is no desk (" + printable(how) +
           "); it was left as it is. Put a copy of it back, or save what can be read with \"sqlite3 FILE .recover\"";
}

std::string Database::explained(const soci::soci_error& error) const {
    const std::string text = error.what();
    for (const char* const damage : {"file is not a database", "database disk image is malformed"}) {
        if (m_isSqlite && text.find(damage) != std::string::npos) {
            return damaged(damage);
        }
    }
    std::string remedy;
    for (const char* const denied : {"readonly database", "unable to open database file", "permission denied"}) {
        if (text.find(denied) != std::string::npos) {
            remedy = m_isSqlite ? "; to change a desk takes the right to write the file and its folder, and \"issue "
                                  "status\", \"report\" and \"export\" take the right to read it"
                                : "; ask the owner of the database for the right";
        }
    }
    return "the desk \"" + printable(m_name) + "\": " + printable(oneLine(text)) + remedy;
}

void Database::attempt(Kind kind, const Work& work) {
    // SQLite: takes the right to write at once, so that two stations wait for each other instead of failing.
    const char* const change = m_isSqlite ? "BEGIN IMMEDIATE" : "BEGIN";
    const char* const look = m_isSqlite ? "BEGIN" : "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY";
    Transaction transaction(m_session, kind == Kind::Change ? change : look);
    work(m_session);
    requireUnchanged();
    if (kind == Kind::Change && !m_isSqlite) {
        mark();
    }
    transaction.commit();
}

void Database::run(Kind kind, const Work& work) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_marked;
    for (int i = 1;; ++i) {
        try {
            if (!m_gaveUp.empty()) {
                throw JournalError(m_gaveUp);
            }
            return attempt(kind, work);
        } catch (const soci::soci_error& error) {
            if (m_isSqlite || m_session.is_connected() || i == kMostTries) {
                throw JournalError(explained(error));
            }
        }
        comeBack();
        if (kind == Kind::Change && isDone()) {
            return;
        }
    }
}

} // namespace host::desk
