#include "host/desk/journal/Database.h"

#include <filesystem>
#include <string_view>

#include <soci/sqlite3/soci-sqlite3.h>

#include "host/desk/journal/DeskFile.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

namespace fs = std::filesystem;

/// Marks a file of SQLite as a desk: "P11D".
constexpr int kApplicationId = 0x50313144;
constexpr std::string_view kPostgresql = ZEL_DESK_POSTGRESQL;

bool isUrl(std::string_view desk) {
    return desk.substr(0, 13) == "postgresql://" || desk.substr(0, 11) == "postgres://";
}

/// A password would be seen by everybody who may list the processes.
void refusePassword(const std::string& url) {
    const std::size_t begin = url.find("://") + 3;
    const std::string authority = url.substr(begin, url.find('/', begin) - begin);
    const std::size_t user = authority.find('@');
    if ((user != std::string::npos && authority.substr(0, user).find(':') != std::string::npos) ||
        url.find("password=") != std::string::npos) {
        throw UsageError("--desk: leave the password out of the URL; PostgreSQL reads it from the file that PGPASSFILE "
                         "names (default: ~/.pgpass)");
    }
}

fs::path pathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

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

void loadPostgresql() {
    if (kPostgresql.empty()) {
        throw UsageError("--desk: on Windows a desk is a file; a database of PostgreSQL is used from Linux");
    }
    try {
        soci::dynamic_backends::register_backend("postgresql", std::string(kPostgresql));
    } catch (const soci::soci_error&) {
        throw UsageError("--desk: the library " + std::string(kPostgresql) +
                         " is missing; install the package libsoci-postgresql4.0");
    }
}

} // namespace

Database::Database(const std::string& desk, IfMissing ifMissing) : m_name(desk), m_isSqlite(!isUrl(desk)) {
    try {
        open(ifMissing);
    } catch (const soci::soci_error& error) {
        throw JournalError(explained(error));
    }
}

void Database::open(IfMissing ifMissing) {
    if (!m_isSqlite) {
        refusePassword(m_name);
        loadPostgresql();
        m_session.open("postgresql", m_name);
        return;
    }
    std::error_code ignored;
    if (ifMissing == IfMissing::Refuse && !fs::exists(pathOf(m_name), ignored)) {
        throw UsageError("--desk: there is no desk \"" + printable(m_name) + "\"");
    }
    checkDeskFile(pathOf(m_name), ifMissing);
    m_session.open(soci::sqlite3, "db=" + uriOf(m_name) + " timeout=10");
    setUpSqlite();
}

/// Nothing is written to a file that is no desk, or that is damaged.
void Database::setUpSqlite() {
    int id = 0;
    int tables = 0;
    std::string check;
    // Not a part of the text above: SOCI would leak the connection to a file that is no database.
    m_session << "PRAGMA synchronous=FULL";
    m_session << "PRAGMA application_id", soci::into(id);
    m_session << "SELECT COUNT(*) FROM sqlite_master", soci::into(tables);
    if (id != kApplicationId && (id != 0 || tables != 0)) {
        throw UsageError("--desk: the file \"" + printable(m_name) + "\" is a database of another program");
    }
    m_session << "PRAGMA integrity_check(1)", soci::into(check);
    if (check != "ok") {
        throw JournalError(damaged(check));
    }
    m_session << "PRAGMA journal_mode=WAL", soci::into(check);
    if (check != "wal") {
        throw JournalError("the desk \"" + printable(m_name) +
                           "\" cannot be kept safely where it is; put the file on a local disk");
    }
    if (id != kApplicationId) {
        m_session << "PRAGMA application_id=" + std::to_string(kApplicationId);
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
    return "the desk \"" + printable(m_name) + "\": " + printable(error.what());
}

Database::Transaction::Transaction(soci::session& session, bool isSqlite) : m_session(session) {
    // SQLite: takes the right to write at once, so that two stations wait for each other instead of failing.
    m_session << (isSqlite ? "BEGIN IMMEDIATE" : "BEGIN");
}

Database::Transaction::~Transaction() {
    if (!m_isOpen) {
        return;
    }
    try {
        m_session << "ROLLBACK";
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the database has ended it by itself
    }
}

void Database::Transaction::commit() {
    m_session << "COMMIT";
    m_isOpen = false;
}

} // namespace host::desk
