#include "host/desk/report/Status.h"

#include <map>

#include "host/desk/journal/Journal.h"
#include "host/plugin/Answers.h"

namespace host::desk {

namespace {

/// The last attempt of each row.
std::map<std::int64_t, const AttemptRecord*> latestAttempts(const DeskRecord& record) {
    std::map<std::int64_t, const AttemptRecord*> latest;
    for (const AttemptRecord& attempt : record.attempts) {
        latest[attempt.row] = &attempt;
    }
    return latest;
}

Json cardJson(const RowRecord& row, const AttemptRecord& attempt) {
    Json card = {{"row", row.row},
                 {"who", row.who},
                 {"state", nameOf(row.state)},
                 {"serial", attempt.serial},
                 {"station", attempt.station},
                 {"step", attempt.steps.empty() ? 0 : attempt.steps.back().number}};
    if (!row.reason.empty()) {
        card["reason"] = row.reason;
        card["remedy"] = row.remedy;
    }
    return card;
}

Json revocationJson(const RevocationRecord& revocation) {
    Json entry = {{"row", revocation.row}};
    if (!revocation.certificate.empty()) {
        entry["certificate"] = revocation.certificate;
    }
    entry["reason"] = revocation.reason;
    return entry;
}

} // namespace

std::string statusJson(const DeskRecord& record) {
    const std::map<std::int64_t, const AttemptRecord*> latest = latestAttempts(record);
    std::map<RowState, std::int64_t> counts;
    Json cards = Json::array();
    for (const RowRecord& row : record.rows) {
        ++counts[row.state];
        if (const auto found = latest.find(row.row); found != latest.end()) {
            cards.push_back(cardJson(row, *found->second));
        }
    }
    Json revoke = Json::array();
    for (const RevocationRecord& revocation : record.revocations) {
        revoke.push_back(revocationJson(revocation));
    }
    const auto total = static_cast<std::int64_t>(record.rows.size());
    return jsonLine({{"plan", record.plan},
                     {"total", total - counts[RowState::Dropped]},
                     {"waiting", counts[RowState::Waiting]},
                     {"running", counts[RowState::Running]},
                     {"done", counts[RowState::Done]},
                     {"failed", counts[RowState::Failed]},
                     {"dropped", counts[RowState::Dropped]},
                     {"cards", std::move(cards)},
                     {"revoke", std::move(revoke)}});
}

} // namespace host::desk
