#include "host/view/desk/Export.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/desk/journal/Journal.h"
#include "host/plugin/Answers.h"
#include "host/view/Shown.h"
#include "host/view/desk/DeskFigures.h"

namespace host::view {

namespace {

using desk::AttemptRecord;
using desk::DeskRecord;
using desk::RowRecord;

/// What belongs to each row of the list.
template <class Record>
using ByRow = std::unordered_map<std::int64_t, std::vector<const Record*>>;

template <class Record>
ByRow<Record> byRow(const std::vector<Record>& records) {
    ByRow<Record> rows;
    for (const Record& record : records) {
        rows[record.row].push_back(&record);
    }
    return rows;
}

template <class Record>
std::vector<const Record*> ofRow(const ByRow<Record>& records, std::int64_t row) {
    const auto found = records.find(row);
    return found == records.end() ? std::vector<const Record*>() : found->second;
}

// --- CSV

std::string csvCell(std::string_view text) {
    std::string cell;
    if (!text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos) {
        cell += '\'';
    }
    cell += text;
    if (cell.find_first_of(",;\"\r\n") == std::string::npos && !cell.starts_with(' ') && !cell.ends_with(' ')) {
        return cell;
    }
    std::string quoted(1, '"');
    for (const char c : cell) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    quoted += '"';
    return quoted;
}

std::string csvLine(const std::vector<std::string>& cells) {
    std::string line;
    for (const std::string& cell : cells) {
        line += csvCell(cell);
        line += &cell == &cells.back() ? "\r\n" : ",";
    }
    return line;
}

/// "2026-01-31T12:00:00.123456Z"
std::string momentText(desk::Moment moment) {
    std::string text = instantText(nanosecondsOf(moment));
    text[10] = 'T';
    return text.substr(0, 26) + "Z";
}

std::string secondsText(desk::Moment length) {
    std::array<char, 40> text = {};
    std::snprintf(text.data(), text.size(), "%.3f", static_cast<double>(length) / 1e6);
    return text.data();
}

std::string csvOf(const RowRecord& row, const AttemptRecord& attempt) {
    return csvLine({std::to_string(row.row), row.who, desk::nameOf(row.state), std::to_string(attempt.attempt),
                    phraseFor(attempt.state), attempt.station, attempt.reader, attempt.serial,
                    momentText(attempt.begun), attempt.ended ? momentText(*attempt.ended) : "",
                    attempt.ended ? secondsText(std::max<desk::Moment>(*attempt.ended - attempt.begun, 0)) : "",
                    std::to_string(attempt.steps.size()), attempt.reason, attempt.remedy});
}

// --- JSON

Json optionalOf(const std::optional<desk::Moment>& moment) {
    return moment ? Json(*moment) : Json();
}

Json jsonOf(const desk::StepRecord& step) {
    return {{"step", step.number},
            {"name", step.name},
            {"begun", step.begun},
            {"ended", optionalOf(step.ended)},
            {"failed", step.hasFailed}};
}

Json jsonOf(const AttemptRecord& attempt) {
    Json steps = Json::array();
    for (const desk::StepRecord& step : attempt.steps) {
        steps.push_back(jsonOf(step));
    }
    return {{"card", attempt.attempt},
            {"state", phraseFor(attempt.state)},
            {"station", attempt.station},
            {"reader", attempt.reader},
            {"serial", attempt.serial},
            {"begun", attempt.begun},
            {"ended", optionalOf(attempt.ended)},
            {"reason", attempt.reason},
            {"remedy", attempt.remedy},
            {"steps", std::move(steps)}};
}

Json jsonOf(const desk::RevocationRecord& revocation) {
    Json object = {{"card", revocation.attempt}, {"reason", revocation.reason}, {"noted", revocation.noted}};
    if (!revocation.certificate.empty()) {
        object["certificate"] = revocation.certificate;
    }
    return object;
}

template <class Record>
Json listOf(const std::vector<const Record*>& records) {
    Json list = Json::array();
    for (const Record* const record : records) {
        list.push_back(jsonOf(*record));
    }
    return list;
}

} // namespace

void exportCsv(const DeskRecord& record, const LineSink& write) {
    write(csvLine({"row", "who", "state", "card", "card state", "station", "reader", "serial", "begun", "ended",
                   "seconds", "steps", "reason", "remedy"}));
    const ByRow<AttemptRecord> attempts = byRow(record.attempts);
    for (const RowRecord& row : record.rows) {
        const std::vector<const AttemptRecord*> ofThis = ofRow(attempts, row.row);
        for (const AttemptRecord* const attempt : ofThis) {
            write(csvOf(row, *attempt));
        }
        if (ofThis.empty()) {
            write(csvLine({std::to_string(row.row), row.who, desk::nameOf(row.state), "", "", "", "", "", "", "", "",
                           "", row.reason, row.remedy}));
        }
    }
}

void exportJsonLines(const DeskRecord& record, const LineSink& write) {
    const ByRow<AttemptRecord> attempts = byRow(record.attempts);
    const ByRow<desk::RevocationRecord> revocations = byRow(record.revocations);
    for (const RowRecord& row : record.rows) {
        const Json object = {{"row", row.row},
                             {"who", row.who},
                             {"state", desk::nameOf(row.state)},
                             {"reason", row.reason},
                             {"remedy", row.remedy},
                             {"cards", listOf(ofRow(attempts, row.row))},
                             {"revoke", listOf(ofRow(revocations, row.row))}};
        write(jsonLine(object));
    }
}

} // namespace host::view
