#include "host/desk/journal/JournalParts.h"
#include "host/plugin/Errors.h"

namespace host::desk {

namespace {

struct RowNow {
    RowState state = RowState::Waiting;
    Number attempt = 0;
    std::string who;
};

RowNow requireRow(soci::session& sql, const Database& database, std::int64_t row) {
    const Number number = row;
    RowNow now;
    std::string state;
    sql << "SELECT state, attempt, who FROM person WHERE number = :number" + std::string(database.takingRows()),
        soci::use(number), soci::into(state), soci::into(now.attempt), soci::into(now.who);
    if (!sql.got_data()) {
        throw UsageError("--row: the desk has no row " + std::to_string(row) + ", or a station works on it just now");
    }
    now.state = rowStateOf(state);
    return now;
}

[[noreturn]] void refuse(std::int64_t row, RowState state, const std::string& remedy) {
    throw UsageError("--row: row " + std::to_string(row) + " is " + nameOf(state) + "; " + remedy);
}

} // namespace

std::vector<Journal::Person> Journal::retryFailed() {
    return m_database->transact([&](soci::session& sql) {
        std::vector<Person> persons;
        Number row = 0;
        std::string who;
        soci::statement select =
            (sql.prepare << "SELECT number, who FROM person WHERE state = 'failed' ORDER BY number" +
                                std::string(m_database->takingRows()),
             soci::into(row), soci::into(who));
        select.execute();
        while (select.fetch()) {
            persons.push_back({row, who});
        }
        for (const Person& person : persons) {
            row = person.row;
            sql << "UPDATE person SET state = 'waiting', reason = '', remedy = '' WHERE number = :row", soci::use(row);
        }
        return persons;
    });
}

Journal::Person Journal::redo(std::int64_t row) {
    return m_database->transact([&](soci::session& sql) {
        const Number number = row;
        const RowNow now = requireRow(sql, *m_database, row);
        if (now.state != RowState::Done) {
            refuse(row, now.state, "only a card that is done can be issued anew");
        }
        revokeCertificateOf(sql, *m_database, now.attempt, "the card was lost, and another one is issued");
        sql << "UPDATE attempt SET state = 'replaced' WHERE number = :attempt", soci::use(now.attempt);
        sql << "UPDATE person SET state = 'waiting' WHERE number = :number", soci::use(number);
        return Person{row, now.who};
    });
}

Journal::Person Journal::drop(std::int64_t row) {
    return m_database->transact([&](soci::session& sql) {
        const Number number = row;
        const RowNow now = requireRow(sql, *m_database, row);
        if (now.state == RowState::Running) {
            refuse(row, now.state, "wait until its card is done or failed");
        }
        if (now.state == RowState::Done) {
            refuse(row, now.state, "its card is issued; revoke its certificate at the authority");
        }
        if (now.state == RowState::Dropped) {
            refuse(row, now.state, "it is out of the batch already");
        }
        revokeCertificateOf(sql, *m_database, now.attempt, "the row was taken out of the batch");
        sql << "UPDATE person SET state = 'dropped' WHERE number = :number", soci::use(number);
        return Person{row, now.who};
    });
}

bool Journal::hasOpenRows() {
    return m_database->look([](soci::session& sql) {
        Number count = 0;
        sql << "SELECT CASE WHEN EXISTS (SELECT 1 FROM person WHERE state IN ('waiting', 'running')) THEN 1 ELSE 0 END",
            soci::into(count);
        return count != 0;
    });
}

Journal::Totals Journal::totals() {
    return m_database->look([&](soci::session& sql) {
        Totals totals;
        std::string state;
        Number count = 0;
        soci::statement select =
            (sql.prepare << "SELECT state, COUNT(*) FROM person GROUP BY state", soci::into(state), soci::into(count));
        select.execute();
        while (select.fetch()) {
            const RowState which = rowStateOf(state);
            (which == RowState::Waiting   ? totals.waiting
             : which == RowState::Running ? totals.running
             : which == RowState::Done    ? totals.done
             : which == RowState::Failed  ? totals.failed
                                          : totals.dropped) = count;
        }
        return totals;
    });
}

} // namespace host::desk
