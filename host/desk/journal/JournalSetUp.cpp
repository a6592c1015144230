#include <algorithm>
#include <array>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "host/desk/journal/JournalParts.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"
#include "platform/FileLock.h"

namespace host::desk {

namespace {

constexpr Number kFormat = 1;

constexpr std::array kTables = {
    // One row: the desk itself, and the numbers that were given out last.
    "CREATE TABLE desk (format BIGINT NOT NULL, name TEXT NOT NULL, digest TEXT NOT NULL, steps TEXT NOT NULL, "
    "attempts BIGINT NOT NULL, revocations BIGINT NOT NULL)",
    "CREATE TABLE person (number BIGINT PRIMARY KEY, who TEXT NOT NULL, digest TEXT NOT NULL, state TEXT NOT NULL, "
    "attempt BIGINT NOT NULL, station TEXT NOT NULL, lease BIGINT NOT NULL, reason TEXT NOT NULL, "
    "remedy TEXT NOT NULL)",
    "CREATE INDEX person_state ON person (state, number)",
    "CREATE TABLE attempt (number BIGINT PRIMARY KEY, person BIGINT NOT NULL, state TEXT NOT NULL, "
    "station TEXT NOT NULL, reader TEXT NOT NULL, serial TEXT NOT NULL, certificate TEXT NOT NULL, "
    "begun BIGINT NOT NULL, ended BIGINT, reason TEXT NOT NULL, remedy TEXT NOT NULL)",
    "CREATE INDEX attempt_serial ON attempt (serial)",
    "CREATE INDEX attempt_person ON attempt (person)",
    "CREATE TABLE step (attempt BIGINT NOT NULL, run BIGINT NOT NULL, number BIGINT NOT NULL, name TEXT NOT NULL, "
    "begun BIGINT NOT NULL, ended BIGINT, failed BIGINT NOT NULL, PRIMARY KEY (attempt, run))",
    "CREATE TABLE revocation (number BIGINT PRIMARY KEY, person BIGINT NOT NULL, attempt BIGINT NOT NULL, "
    "certificate TEXT NOT NULL, reason TEXT NOT NULL, noted BIGINT NOT NULL)",
};

bool hasTables(soci::session& sql, const Database& database) {
    Number count = 0;
    sql << (database.isSqlite()
                ? "SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name = 'desk'"
                : "SELECT COUNT(*) FROM information_schema.tables WHERE table_name = 'desk' AND table_schema = "
                  "current_schema()"),
        soci::into(count);
    return count != 0;
}

void makeTables(soci::session& sql, const Database& database, const DeskPlan& plan) {
    for (const char* const table : kTables) {
        sql << table;
    }
    if (!database.isSqlite()) {
        // What a process did last: it looks here when the answer to a transaction was lost.
        sql << "CREATE TABLE process (id TEXT PRIMARY KEY, number BIGINT NOT NULL)";
    }
    const std::string steps = nlohmann::json(plan.steps).dump();
    sql << "INSERT INTO desk VALUES (:format, :name, :digest, :steps, 0, 0)", soci::use(kFormat), soci::use(plan.name),
        soci::use(plan.digest), soci::use(steps);
}

void addRows(soci::session& sql, const std::vector<DeskRow>& rows) {
    Number number = 0;
    std::string who;
    std::string digest;
    soci::statement insert = (sql.prepare << "INSERT INTO person VALUES (:number, :who, :digest, 'waiting', 0, '', 0, "
                                             "'', '')",
                              soci::use(number), soci::use(who), soci::use(digest));
    for (const DeskRow& row : rows) {
        number = row.row;
        who = row.who;
        digest = row.digest;
        insert.execute(true);
    }
}

/// Refuses a desk of another version, and one whose head was edited.
void requireHead(soci::session& sql) {
    Number format = 0;
    std::string steps;
    sql << "SELECT format, steps FROM desk", soci::into(format), soci::into(steps);
    if (!sql.got_data()) {
        throw JournalError("the desk has lost its head: its table \"desk\" is empty; put back a copy of it");
    }
    if (format != kFormat) {
        throw UsageError("--desk: the desk was made by another version of this program");
    }
    [[maybe_unused]] const std::vector<std::string> names = stepNamesOf(steps);
}

void comparePlan(soci::session& sql, const DeskPlan& plan) {
    requireHead(sql);
    std::string name;
    std::string digest;
    sql << "SELECT name, digest FROM desk", soci::into(name), soci::into(digest);
    if (digest != plan.digest) {
        Number attempts = 0;
        sql << "SELECT COUNT(*) FROM attempt", soci::into(attempts);
        if (attempts == 0) {
            throw UsageError(
                "--desk: the plan was changed since the desk was made, and no card was begun with it: remove "
                "the desk, and run the command again");
        }
        throw UsageError(
            "--desk: the desk belongs to another plan, \"" + printable(name) +
            "\", or the plan was changed. Take the plan as it was, or take a new desk for a new plan; a new "
            "desk knows nothing of the cards that this one has issued");
    }
}

/// The list may have grown at its end; what was there before has to be the same.
void compareRows(soci::session& sql, const std::vector<DeskRow>& rows) {
    Number number = 0;
    std::string who;
    std::string digest;
    soci::statement select = (sql.prepare << "SELECT number, who, digest FROM person ORDER BY number",
                              soci::into(number), soci::into(who), soci::into(digest));
    select.execute();
    std::size_t count = 0;
    for (; select.fetch(); ++count) {
        if (count == rows.size() || rows[count].who != who || rows[count].digest != digest) {
            throw UsageError("--cards: row " + std::to_string(number) + " of the list, \"" + printable(who) +
                             "\", is not as it was when the desk was made; rows may be added at the end, and \"issue "
                             "drop\" takes one out");
        }
    }
    addRows(sql, {rows.begin() + static_cast<std::ptrdiff_t>(count), rows.end()});
}

} // namespace

Journal::Journal(const std::string& desk, IfMissing ifMissing, ServerAccess access)
    : m_database(std::make_unique<Database>(desk, ifMissing, std::move(access))) {}

Journal::~Journal() = default;

void Journal::holdStation(const std::string& station) {
    platform::FileLock::State state = platform::FileLock::State::Taken;
    if (m_database->isSqlite()) {
        // Beside the file itself: a desk has one station of a name, whichever link leads to it.
        std::error_code ignored;
        const std::string file = utf8Of(std::filesystem::weakly_canonical(pathOf(m_database->name()), ignored));
        m_station = std::make_unique<platform::FileLock>(file + "." + station + ".lock");
        state = m_station->state();
    } else {
        state = m_database->holdName(station) ? state : platform::FileLock::State::HeldByAnother;
    }
    if (state == platform::FileLock::State::HeldByAnother) {
        throw UsageError("--station: another process works at this desk as \"" + printable(station) +
                         "\"; give each station a name of its own with --station");
    }
    if (state == platform::FileLock::State::Failed) {
        throw UsageError("--desk: no lock can be made beside \"" + printable(m_database->name()) +
                         "\": " + platform::FileLock::lastError());
    }
}

void Journal::setUp(const DeskPlan& plan, const std::vector<DeskRow>& rows) {
    m_database->transact([&](soci::session& sql) {
        if (!m_database->isSqlite()) {
            // Two stations that begin together make one desk.
            sql << "SELECT pg_advisory_xact_lock(hashtextextended(current_schema(), 5346))";
        }
        if (!hasTables(sql, *m_database)) {
            makeTables(sql, *m_database, plan);
            addRows(sql, rows);
            return;
        }
        comparePlan(sql, plan);
        compareRows(sql, rows);
    });
}

std::vector<std::string> stepNamesOf(const std::string& json) {
    const nlohmann::json list = nlohmann::json::parse(json, nullptr, false);
    const bool isList = list.is_array() && std::all_of(list.begin(), list.end(),
                                                       [](const nlohmann::json& step) { return step.is_string(); });
    if (!isList) { // text that is no JSON, too
        throw JournalError("the desk's steps are no list of names; put back a copy of it");
    }
    return list.get<std::vector<std::string>>();
}

void Journal::requireDesk() {
    const bool isDesk = m_database->look([&](soci::session& sql) {
        const bool hasDesk = hasTables(sql, *m_database);
        if (hasDesk) {
            requireHead(sql);
        }
        return hasDesk;
    });
    if (!isDesk) {
        throw UsageError("--desk: \"" + printable(m_database->name()) + "\" holds no desk");
    }
}

} // namespace host::desk
