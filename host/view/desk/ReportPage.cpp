#include "host/view/desk/ReportPage.h"

#include <cmath>
#include <set>
#include <utility>

#include "host/view/HtmlPieces.h"
#include "host/view/PageParts.h"
#include "host/view/Shown.h"
#include "host/view/desk/DeskFigures.h"
#include "host/view/desk/ReaderPicture.h"
#include "host/view/desk/ReportTables.h"

namespace host::view {

namespace {

using desk::DeskRecord;

/// How long any reader worked, in microseconds.
desk::Moment busyTimeOf(const DeskRecord& record) {
    desk::Moment sum = 0;
    for (const Period& period : busyPeriodsOf(record, kLongestPause)) {
        sum += period.second - period.first;
    }
    return sum;
}

std::string rateText(std::size_t cards, desk::Moment busy) {
    constexpr double kHour = 3600e6;
    return busy <= 0 ? "" : std::to_string(std::lround(static_cast<double>(cards) * kHour / static_cast<double>(busy)));
}

/// A figure that only some desks have.
std::string figureIfAny(const char* name, std::size_t count, bool isBad = false) {
    return count == 0 ? "" : figure(name, std::to_string(count), isBad);
}

std::string figures(const DeskRecord& record) {
    const RowCounts rows = countRows(record);
    std::set<std::pair<std::string, std::string>> readers;
    std::set<std::string> stations;
    for (const desk::AttemptRecord& attempt : record.attempts) {
        readers.emplace(attempt.station, attempt.reader);
        stations.insert(attempt.station);
    }
    const desk::Moment busy = busyTimeOf(record);
    return figure("People", std::to_string(record.rows.size())) + figure("Done", std::to_string(rows.done)) +
           figure("Failed", std::to_string(rows.failed), rows.failed != 0) + figureIfAny("Waiting", rows.waiting) +
           figureIfAny("Under way", rows.running) + figureIfAny("Dropped", rows.dropped) +
           figureIfAny("To revoke", record.revocations.size(), true) + figureIfAny("Stations", stations.size()) +
           figureIfAny("Readers", readers.size()) +
           (busy <= 0 ? "" : figure("Time at work", durationText(nanosecondsOf(busy)))) +
           (rows.done == 0 || busy <= 0 ? "" : figure("Cards an hour", rateText(rows.done, busy)));
}

std::string readerSection(const DeskRecord& record) {
    const std::string picture = readerPictureOf(record);
    return picture.empty() ? "" : "<section><h2>Readers</h2>\n<div class=\"readers\">" + picture + "</div></section>\n";
}

std::string policy() {
    return "default-src 'none'; style-src " + allowed(kPageStyle) + " " + allowed(kPageReportStyle) +
           "; base-uri 'none'; form-action 'none'";
}

} // namespace

std::string reportPageOf(const DeskRecord& record) {
    const std::string plan = escaped(record.plan);
    const std::string read = escaped(instantText(nanosecondsOf(record.read)).substr(0, 19));
    return filled(kPageReportHtml.text, {{"POLICY", policy()},
                                         {"TITLE", plan},
                                         {"STYLE", std::string(kPageStyle.text)},
                                         {"REPORT_STYLE", std::string(kPageReportStyle.text)},
                                         {"SOURCE", plan + " &middot; as of " + read + " UTC"},
                                         {"FIGURES", figures(record)},
                                         {"REVOCATIONS", revocationSection(record)},
                                         {"FAILURES", failureSection(record)},
                                         {"GIVEN_UP", givenUpSection(record)},
                                         {"READERS", readerSection(record)},
                                         {"STEPS", stepSection(record)},
                                         {"VERSION", P11HOST_VERSION}});
}

} // namespace host::view
