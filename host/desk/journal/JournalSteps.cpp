#include <algorithm>
#include <array>
#include <stdexcept>

#include "host/desk/journal/JournalParts.h"

namespace host::desk {

namespace {

constexpr std::array kRowStates = {"waiting", "running", "done", "failed", "dropped"};
constexpr std::array kAttemptStates = {"running", "done", "failed", "interrupted", "undone", "replaced"};

template <class Words>
std::size_t placeOf(const Words& words, std::string_view word) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == word) {
            return i;
        }
    }
    throw JournalError("the journal has a state that this version does not know");
}

void endStep(soci::session& sql, const Database& database, const Claim& claim, Number failed) {
    const Number attempt = claim.attempt;
    sql << "UPDATE step SET ended = " + std::string(database.now()) +
               ", failed = :failed WHERE attempt = :attempt AND ended IS NULL",
        soci::use(failed), soci::use(attempt);
}

void endAttempt(soci::session& sql, const Database& database, const Claim& claim, const Journal::Failure& end) {
    const Number attempt = claim.attempt;
    const Number row = claim.row;
    const std::string attemptState = nameOf(end.attempt);
    const std::string rowState = nameOf(end.row);
    sql << "UPDATE attempt SET state = :state, reason = :reason, remedy = :remedy, ended = " +
               std::string(database.now()) + " WHERE number = :attempt",
        soci::use(attemptState), soci::use(end.reason), soci::use(end.remedy), soci::use(attempt);
    sql << "UPDATE person SET state = :state, reason = :reason, remedy = :remedy, station = '', lease = 0 WHERE number "
           "= :row",
        soci::use(rowState), soci::use(end.reason), soci::use(end.remedy), soci::use(row);
}

} // namespace

const char* nameOf(RowState state) noexcept {
    return kRowStates[static_cast<std::size_t>(state)];
}

const char* nameOf(AttemptState state) noexcept {
    return kAttemptStates[static_cast<std::size_t>(state)];
}

RowState rowStateOf(std::string_view word) {
    return static_cast<RowState>(placeOf(kRowStates, word));
}

AttemptState attemptStateOf(std::string_view word) {
    return static_cast<AttemptState>(placeOf(kAttemptStates, word));
}

std::vector<std::string> certificatesIn(const std::string& text) {
    constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
    std::vector<std::string> all;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t next = std::min(text.find(kBegin, begin + 1), text.size());
        all.push_back(text.substr(begin, next - begin));
        begin = next;
    }
    return all;
}

void requireClaim(soci::session& sql, const Database& database, const Claim& claim) {
    const Number row = claim.row;
    const Number attempt = claim.attempt;
    const Number changed = change(sql,
                                  "UPDATE person SET lease = " + std::string(database.now()) + " + " +
                                      std::to_string(kLeaseSeconds * 1'000'000) +
                                      " WHERE number = :row AND attempt = :attempt AND station = :station AND state = "
                                      "'running'",
                                  row, attempt, claim.station);
    if (changed == 0) {
        throw ClaimLost();
    }
}

void noteRevocation(soci::session& sql, const Database& database, const Claim& claim, const std::string& pem,
                    const std::string& reason) {
    const Number row = claim.row;
    const Number attempt = claim.attempt;
    Number number = 0;
    sql << "UPDATE desk SET revocations = revocations + 1";
    sql << "SELECT revocations FROM desk", soci::into(number);
    sql << "INSERT INTO revocation VALUES (:number, :row, :attempt, :pem, :reason, " + std::string(database.now()) +
               ")",
        soci::use(number), soci::use(row), soci::use(attempt), soci::use(pem), soci::use(reason);
}

void revokeCertificateOf(soci::session& sql, const Database& database, std::int64_t attempt,
                         const std::string& reason) {
    const Number number = attempt;
    Number row = 0;
    std::string all;
    sql << "SELECT person, certificate FROM attempt WHERE number = :number", soci::use(number), soci::into(row),
        soci::into(all);
    for (const std::string& pem : certificatesIn(all)) {
        Number count = 0;
        sql << "SELECT COUNT(*) FROM revocation WHERE attempt = :number AND certificate = :pem", soci::use(number),
            soci::use(pem), soci::into(count);
        if (count == 0) {
            Claim claim;
            claim.row = row;
            claim.attempt = attempt;
            noteRevocation(sql, database, claim, pem, reason);
        }
    }
}

std::optional<KnownCard> Journal::findCard(const std::string& serial) {
    return m_database->look([&](soci::session& sql) -> std::optional<KnownCard> {
        Number row = 0;
        Number attempt = 0;
        Number latest = 0;
        std::string state;
        std::string rowState;
        sql << "SELECT attempt.number, attempt.person, attempt.state, person.state, person.attempt FROM attempt JOIN "
               "person ON person.number = attempt.person WHERE attempt.serial = :serial ORDER BY attempt.number DESC "
               "LIMIT 1",
            soci::use(serial), soci::into(attempt), soci::into(row), soci::into(state), soci::into(rowState),
            soci::into(latest);
        if (!sql.got_data()) {
            return std::nullopt;
        }
        return KnownCard{row, attemptStateOf(state), attempt == latest, rowStateOf(rowState)};
    });
}

void Journal::beginStep(const Claim& claim, int number, const std::string& name) {
    m_database->transact([&](soci::session& sql) {
        const Number attempt = claim.attempt;
        const Number step = number;
        requireClaim(sql, *m_database, claim);
        endStep(sql, *m_database, claim, 0);
        sql << "INSERT INTO step SELECT CAST(:attempt AS BIGINT), COUNT(*) + 1, CAST(:number AS BIGINT), CAST(:name AS "
               "TEXT), " +
                   std::string(m_database->now()) + ", NULL, 0 FROM step WHERE attempt = :same",
            soci::use(attempt), soci::use(step), soci::use(name), soci::use(attempt);
    });
}

void Journal::setSerial(const Claim& claim, const std::string& serial) {
    m_database->transact([&](soci::session& sql) {
        const Number attempt = claim.attempt;
        requireClaim(sql, *m_database, claim);
        endStep(sql, *m_database, claim, 0);
        sql << "UPDATE attempt SET serial = :serial WHERE number = :attempt", soci::use(serial), soci::use(attempt);
    });
}

void Journal::setCertificate(const Claim& claim, const std::string& pem) {
    m_database->transact([&](soci::session& sql) {
        const Number attempt = claim.attempt;
        requireClaim(sql, *m_database, claim);
        endStep(sql, *m_database, claim, 0);
        sql << "UPDATE attempt SET certificate = certificate || :pem WHERE number = :attempt", soci::use(pem),
            soci::use(attempt);
    });
}

void Journal::revoke(const Claim& claim, const std::string& pem, const std::string& reason) {
    m_database->transact([&](soci::session& sql) { noteRevocation(sql, *m_database, claim, pem, reason); });
}

void Journal::finish(const Claim& claim) {
    m_database->transact([&](soci::session& sql) {
        requireClaim(sql, *m_database, claim);
        endStep(sql, *m_database, claim, 0);
        endAttempt(sql, *m_database, claim, {AttemptState::Done, RowState::Done, "", ""});
    });
}

void Journal::fail(const Claim& claim, const Failure& failure) {
    m_database->transact([&](soci::session& sql) {
        requireClaim(sql, *m_database, claim);
        endStep(sql, *m_database, claim, 1);
        endAttempt(sql, *m_database, claim, failure);
        if (failure.attempt != AttemptState::Interrupted) {
            revokeCertificateOf(sql, *m_database, claim.attempt, "its card failed: " + failure.reason);
        }
    });
}

} // namespace host::desk
