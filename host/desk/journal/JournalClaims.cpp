#include "host/desk/journal/JournalParts.h"

namespace host::desk {

namespace {

const std::string kLease = std::to_string(kLeaseSeconds * 1'000'000);

struct OpenAttempt {
    Number row = 0;
    Number attempt = 0;
};

/// Rows under way that fit `condition`, a part of a statement about `person`.
std::vector<OpenAttempt> openAttempts(soci::session& sql, const Database& database, const std::string& condition,
                                      const std::string& station) {
    OpenAttempt open;
    std::vector<OpenAttempt> all;
    soci::statement select = (sql.prepare << "SELECT number, attempt FROM person WHERE state = 'running' AND " +
                                                 condition + database.takingRows(),
                              soci::use(station, "station"), soci::into(open.row), soci::into(open.attempt));
    select.execute();
    while (select.fetch()) {
        all.push_back(open);
    }
    return all;
}

/// Whether the authority was being asked: it may have signed.
bool wasCertifying(soci::session& sql, Number attempt) {
    Number count = 0;
    sql << "SELECT COUNT(*) FROM step WHERE attempt = :attempt AND name = 'certify' AND ended IS NULL",
        soci::use(attempt), soci::into(count);
    return count != 0;
}

void interrupt(soci::session& sql, const Database& database, const OpenAttempt& open) {
    if (wasCertifying(sql, open.attempt)) {
        Claim claim;
        claim.row = open.row;
        claim.attempt = open.attempt;
        noteRevocation(sql, database, claim, "",
                       "the work ended while the authority was asked: it may have signed a certificate");
    }
    const std::string now = database.now();
    sql << "UPDATE attempt SET state = 'interrupted', reason = 'the program ended', ended = " + now +
               " WHERE number = :attempt",
        soci::use(open.attempt);
    sql << "UPDATE person SET state = 'waiting', station = '', lease = 0 WHERE number = :number", soci::use(open.row);
}

int interruptAll(Database& database, const std::string& condition, const std::string& station) {
    return database.transact([&](soci::session& sql) {
        const std::vector<OpenAttempt> all = openAttempts(sql, database, condition, station);
        for (const OpenAttempt& open : all) {
            interrupt(sql, database, open);
        }
        return static_cast<int>(all.size());
    });
}

Number nextAttempt(soci::session& sql) {
    Number number = 0;
    sql << "UPDATE desk SET attempts = attempts + 1";
    sql << "SELECT attempts FROM desk", soci::into(number);
    return number;
}

Number failuresOf(soci::session& sql, Number row) {
    Number count = 0;
    sql << "SELECT COUNT(*) FROM attempt WHERE person = :row AND state IN ('failed', 'undone')", soci::use(row),
        soci::into(count);
    return count;
}

void takeRow(soci::session& sql, const Database& database, const Claim& claim) {
    const Number row = claim.row;
    const Number attempt = claim.attempt;
    sql << "UPDATE person SET state = 'running', attempt = :attempt, station = :station, reason = '', remedy = '', "
           "lease = " +
               std::string(database.now()) + " + " + kLease + " WHERE number = :row",
        soci::use(attempt), soci::use(claim.station), soci::use(row);
}

/// Begins an attempt for a row that this transaction has taken.
Claim beginAttempt(soci::session& sql, const Database& database, Number row, Number before, Claim claim,
                   const std::string& reader) {
    revokeCertificateOf(sql, database, before, "its card was not finished, and work began anew");
    claim.row = row;
    claim.attempt = nextAttempt(sql);
    claim.failures = static_cast<int>(failuresOf(sql, row));
    const Number attempt = claim.attempt;
    sql << "INSERT INTO attempt VALUES (:attempt, :row, 'running', :station, :reader, :serial, '', " +
               std::string(database.now()) + ", NULL, '', '')",
        soci::use(attempt), soci::use(row), soci::use(claim.station), soci::use(reader), soci::use(claim.serial);
    takeRow(sql, database, claim);
    return claim;
}

/// What an attempt has done so far. A step that failed or was interrupted is the first one that is not done.
void readProgress(soci::session& sql, Claim& claim) {
    const Number attempt = claim.attempt;
    Number done = 0;
    Number underWay = 0;
    sql << "SELECT COALESCE(MAX(number), 0) FROM step WHERE attempt = :attempt AND ended IS NOT NULL AND failed = 0",
        soci::use(attempt), soci::into(done);
    sql << "SELECT COUNT(*) FROM step WHERE attempt = :attempt AND number > :done", soci::use(attempt), soci::use(done),
        soci::into(underWay);
    std::string all;
    sql << "SELECT certificate FROM attempt WHERE number = :attempt", soci::use(attempt), soci::into(all);
    const std::vector<std::string> certificates = certificatesIn(all);
    claim.certificate = certificates.empty() ? "" : certificates.back();
    claim.stepsDone = static_cast<int>(done);
    claim.isUnderWay = underWay != 0;
}

Claim resumeAttempt(soci::session& sql, const Database& database, Number row, Number before, Claim claim,
                    const std::string& reader) {
    claim.row = row;
    claim.attempt = before;
    claim.failures = static_cast<int>(failuresOf(sql, row));
    readProgress(sql, claim);
    sql << "UPDATE attempt SET state = 'running', station = :station, reader = :reader, ended = NULL, reason = '' "
           "WHERE number = :attempt",
        soci::use(claim.station), soci::use(reader), soci::use(before);
    // A step that was under way has no end of its own: it begins again.
    sql << "UPDATE step SET ended = " + std::string(database.now()) +
               ", failed = 1 WHERE attempt = :attempt AND ended "
               "IS NULL",
        soci::use(before);
    takeRow(sql, database, claim);
    return claim;
}

const char* rowsFor(Journal::Pinned pinned) {
    return pinned == Journal::Pinned::Take
               ? ""
               : " AND NOT EXISTS (SELECT 1 FROM attempt WHERE attempt.number = person.attempt AND attempt.serial <> "
                 "'' AND attempt.state = 'interrupted')";
}

} // namespace

int Journal::recover(const std::string& station) {
    return interruptAll(*m_database, "station = :station", station);
}

int Journal::expireLeases() {
    const auto sinceReturn = m_database->sinceReturn();
    if (sinceReturn && *sinceReturn < std::chrono::seconds(kLeaseSeconds)) {
        return 0;
    }
    return interruptAll(*m_database, "station <> :station AND lease < " + std::string(m_database->now()), "");
}

void Journal::renewLeases(const std::string& station) {
    m_database->transact([&](soci::session& sql) {
        sql << "UPDATE person SET lease = " + std::string(m_database->now()) + " + " + kLease +
                   " WHERE state = 'running' AND station = :station",
            soci::use(station);
    });
}

std::optional<Claim> Journal::claimRow(const std::string& rows, const std::string& station, const std::string& reader,
                                       const std::string& serial) {
    return m_database->transact([&](soci::session& sql) -> std::optional<Claim> {
        Number row = 0;
        Number before = 0;
        sql << "SELECT number, attempt FROM person WHERE state = 'waiting'" + rows + " ORDER BY number LIMIT 1" +
                   m_database->takingRows(),
            soci::into(row), soci::into(before);
        if (!sql.got_data()) {
            return std::nullopt;
        }
        Claim claim;
        claim.station = station;
        claim.serial = serial;
        return beginAttempt(sql, *m_database, row, before, claim, reader);
    });
}

std::optional<Claim> Journal::claimBlank(const std::string& station, const std::string& reader, Pinned pinned) {
    return claimRow(rowsFor(pinned), station, reader, "");
}

std::optional<Claim> Journal::claimUsed(const std::string& station, const std::string& reader,
                                        const std::string& serial, Pinned pinned) {
    return claimRow(rowsFor(pinned), station, reader, serial);
}

std::optional<Claim> Journal::claimCard(const std::string& station, const std::string& reader,
                                        const std::string& serial, bool resumes) {
    return m_database->transact([&](soci::session& sql) -> std::optional<Claim> {
        Number row = 0;
        Number before = 0;
        sql << "SELECT number, attempt FROM person WHERE state = 'waiting' AND (number, attempt) IN (SELECT person, "
               "number FROM attempt WHERE serial = :serial) LIMIT 1" +
                   std::string(m_database->takingRows()),
            soci::use(serial), soci::into(row), soci::into(before);
        if (!sql.got_data()) {
            return std::nullopt;
        }
        Claim claim;
        claim.station = station;
        claim.serial = serial;
        return resumes ? resumeAttempt(sql, *m_database, row, before, claim, reader)
                       : beginAttempt(sql, *m_database, row, before, claim, reader);
    });
}

std::optional<Claim> Journal::claimToResume(const std::string& station, const std::string& reader,
                                            const std::string& serial) {
    return claimCard(station, reader, serial, true);
}

std::optional<Claim> Journal::claimToErase(const std::string& station, const std::string& reader,
                                           const std::string& serial) {
    return claimCard(station, reader, serial, false);
}

} // namespace host::desk
