#include <algorithm>

#include "host/desk/journal/JournalParts.h"

namespace host::desk {

namespace {

void readDesk(soci::session& sql, const Database& database, DeskRecord& record) {
    std::string steps;
    Number read = 0;
    sql << "SELECT name, steps, " + std::string(database.now()) + " FROM desk", soci::into(record.plan),
        soci::into(steps), soci::into(read);
    record.read = read;
    record.steps = stepNamesOf(steps);
}

void readRows(soci::session& sql, DeskRecord& record) {
    Number number = 0;
    std::string state;
    RowRecord row;
    soci::statement select =
        (sql.prepare << "SELECT number, who, state, reason, remedy FROM person ORDER BY number", soci::into(number),
         soci::into(row.who), soci::into(state), soci::into(row.reason), soci::into(row.remedy));
    select.execute();
    while (select.fetch()) {
        row.row = number;
        row.state = rowStateOf(state);
        record.rows.push_back(row);
    }
}

std::optional<Moment> momentOf(Number value, soci::indicator isThere) {
    return isThere == soci::i_ok ? std::optional<Moment>(value) : std::nullopt;
}

void readAttempts(soci::session& sql, DeskRecord& record) {
    Number number = 0;
    Number row = 0;
    Number begun = 0;
    Number ended = 0;
    soci::indicator hasEnded = soci::i_ok;
    std::string state;
    AttemptRecord attempt;
    soci::statement select =
        (sql.prepare << "SELECT number, person, state, station, reader, serial, begun, ended, reason, remedy FROM "
                        "attempt ORDER BY number",
         soci::into(number), soci::into(row), soci::into(state), soci::into(attempt.station),
         soci::into(attempt.reader), soci::into(attempt.serial), soci::into(begun), soci::into(ended, hasEnded),
         soci::into(attempt.reason), soci::into(attempt.remedy));
    select.execute();
    while (select.fetch()) {
        attempt.attempt = number;
        attempt.row = row;
        attempt.state = attemptStateOf(state);
        attempt.begun = begun;
        attempt.ended = momentOf(ended, hasEnded);
        record.attempts.push_back(attempt);
    }
}

void readSteps(soci::session& sql, DeskRecord& record) {
    Number attempt = 0;
    Number number = 0;
    Number begun = 0;
    Number ended = 0;
    Number failed = 0;
    soci::indicator hasEnded = soci::i_ok;
    StepRecord step;
    soci::statement select =
        (sql.prepare << "SELECT attempt, number, name, begun, ended, failed FROM step ORDER BY attempt, run",
         soci::into(attempt), soci::into(number), soci::into(step.name), soci::into(begun), soci::into(ended, hasEnded),
         soci::into(failed));
    select.execute();
    auto owner = record.attempts.begin();
    while (select.fetch()) {
        owner =
            std::find_if(owner, record.attempts.end(), [&](const AttemptRecord& a) { return a.attempt == attempt; });
        if (owner == record.attempts.end()) {
            throw JournalError("the journal has a step without its card");
        }
        step.number = static_cast<int>(number);
        step.begun = begun;
        step.ended = momentOf(ended, hasEnded);
        step.hasFailed = failed != 0;
        owner->steps.push_back(step);
    }
}

void readRevocations(soci::session& sql, DeskRecord& record) {
    Number row = 0;
    Number attempt = 0;
    Number noted = 0;
    RevocationRecord revocation;
    soci::statement select = (sql.prepare << "SELECT person, attempt, certificate, reason, noted FROM revocation ORDER "
                                             "BY number",
                              soci::into(row), soci::into(attempt), soci::into(revocation.certificate),
                              soci::into(revocation.reason), soci::into(noted));
    select.execute();
    while (select.fetch()) {
        revocation.row = row;
        revocation.attempt = attempt;
        revocation.noted = noted;
        record.revocations.push_back(revocation);
    }
}

} // namespace

DeskRecord Journal::read() {
    return m_database->look([&](soci::session& sql) {
        DeskRecord record;
        readDesk(sql, *m_database, record);
        readRows(sql, record);
        readAttempts(sql, record);
        readSteps(sql, record);
        readRevocations(sql, record);
        return record;
    });
}

} // namespace host::desk
