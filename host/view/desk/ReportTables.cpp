#include "host/view/desk/ReportTables.h"

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <vector>

#include "host/plugin/Errors.h"
#include "host/view/HtmlPieces.h"
#include "host/view/Shown.h"
#include "host/view/desk/DeskFigures.h"
#include "host/x509/Certificate.h"

namespace host::view {

namespace {

using desk::AttemptRecord;
using desk::AttemptState;
using desk::DeskRecord;
using desk::RevocationRecord;
using desk::RowRecord;

/// Above this, a page would be too large to open; the export has them all.
constexpr std::size_t kMostRows = 1000;

struct Heading {
    const char* text;
    const char* classes;
};

std::string table(const char* id, const std::vector<Heading>& headings, const std::string& rows) {
    std::string text = "<table id=\"" + std::string(id) + "\"><thead><tr>";
    for (const Heading& heading : headings) {
        text += std::string("<th scope=\"col\"") +
                (*heading.classes == '\0' ? "" : " class=\"" + std::string(heading.classes) + "\"") + ">" +
                heading.text + "</th>";
    }
    return text + "</tr></thead><tbody>\n" + rows + "</tbody></table>\n";
}

std::string section(const char* title, const std::string& contents) {
    return "<section><h2>" + std::string(title) + "</h2>\n" + contents + "</section>\n";
}

std::string moreThan(std::size_t count) {
    return count <= kMostRows ? ""
                              : "<p class=\"more\">and " + std::to_string(count - kMostRows) +
                                    " more, which <code>p11host issue export</code> gives</p>\n";
}

std::string rowsOf(std::size_t count, const std::function<std::string(std::size_t)>& cellsAt) {
    std::string rows;
    for (std::size_t i = 0; i < std::min(count, kMostRows); ++i) {
        rows += "<tr>" + cellsAt(i) + "</tr>\n";
    }
    return rows;
}

/// The person of each row of the list.
class People {
public:
    explicit People(const DeskRecord& record) {
        for (const RowRecord& row : record.rows) {
            m_names[row.row] = &row.who;
        }
    }

    [[nodiscard]] std::string cells(std::int64_t row) const {
        const auto name = m_names.find(row);
        return numberCell(std::to_string(row)) + cell(name == m_names.end() ? "" : *name->second);
    }

private:
    std::unordered_map<std::int64_t, const std::string*> m_names;
};

/// What an authority needs to revoke a certificate.
std::string certificateCells(const RevocationRecord& revocation) {
    if (revocation.certificate.empty()) {
        return cell("") +
               cell("its answer was not received: ask the authority for certificates of this person", "quiet");
    }
    const std::string pem =
        "<details><summary>PEM</summary><pre>" + escaped(revocation.certificate) + "</pre></details></td>";
    try {
        const x509::Certificate certificate =
            x509::Certificate::read(x509::viewOf(revocation.certificate), "the certificate");
        return cell(certificate.serialText) + "<td>" + escaped(certificate.subjectText) + "<br>issued by " +
               escaped(certificate.issuerText) + pem;
    } catch (const UsageError&) {
        return cell("") + "<td>not readable" + pem;
    }
}

bool isGivenUp(const AttemptRecord& attempt) noexcept {
    return attempt.state != AttemptState::Done && attempt.state != AttemptState::Running;
}

} // namespace

std::string failureSection(const DeskRecord& record) {
    std::vector<const RowRecord*> failed;
    for (const RowRecord& row : record.rows) {
        if (row.state == desk::RowState::Failed) {
            failed.push_back(&row);
        }
    }
    if (failed.empty()) {
        return "";
    }
    const std::string rows = rowsOf(failed.size(), [&](std::size_t i) {
        const RowRecord& row = *failed[i];
        return numberCell(std::to_string(row.row)) + cell(row.who) + cell(row.reason, "bad") + cell(row.remedy);
    });
    return section("Failures",
                   table("failures", {{"Row", "n"}, {"Who", ""}, {"Reason", ""}, {"What to do", ""}}, rows) +
                       moreThan(failed.size()));
}

std::string givenUpSection(const DeskRecord& record) {
    std::vector<const AttemptRecord*> attempts;
    for (const AttemptRecord& attempt : record.attempts) {
        if (isGivenUp(attempt)) {
            attempts.push_back(&attempt);
        }
    }
    if (attempts.empty()) {
        return "";
    }
    const People people(record);
    const std::string rows = rowsOf(attempts.size(), [&](std::size_t i) {
        const AttemptRecord& attempt = *attempts[i];
        return people.cells(attempt.row) + cell(attempt.serial) + cell(attempt.reader) + cell(attempt.station) +
               cell(instantText(nanosecondsOf(attempt.begun)).substr(0, 19)) + cell(phraseFor(attempt.state)) +
               cell(attempt.reason);
    });
    return section("Cards that were begun and not given out", table("given-up",
                                                                    {{"Row", "n"},
                                                                     {"Who", ""},
                                                                     {"Serial", ""},
                                                                     {"Reader", ""},
                                                                     {"Station", ""},
                                                                     {"Begun (UTC)", ""},
                                                                     {"State", ""},
                                                                     {"Reason", ""}},
                                                                    rows) +
                                                                  moreThan(attempts.size()));
}

std::string revocationSection(const DeskRecord& record) {
    if (record.revocations.empty()) {
        return "<p class=\"good\" id=\"nothing-to-revoke\">No certificate has to be revoked.</p>\n";
    }
    const People people(record);
    const std::string rows = rowsOf(record.revocations.size(), [&](std::size_t i) {
        const RevocationRecord& revocation = record.revocations[i];
        return people.cells(revocation.row) + certificateCells(revocation) + cell(revocation.reason);
    });
    return section("Certificates to revoke",
                   table("revocations",
                         {{"Row", "n"}, {"Who", ""}, {"Serial number", ""}, {"Certificate", ""}, {"Why", ""}}, rows) +
                       moreThan(record.revocations.size()));
}

std::string stepSection(const DeskRecord& record) {
    const std::vector<StepTotal> totals = stepTotalsOf(record);
    if (totals.empty()) {
        return "";
    }
    const std::string rows = rowsOf(totals.size(), [&](std::size_t i) {
        const StepTotal& step = totals[i];
        return numberCell(std::to_string(step.number)) + cell(step.name) + numberCell(std::to_string(step.count)) +
               cell(step.failures == 0 ? "" : std::to_string(step.failures), "n bad") +
               numberCell(durationText(step.median)) + numberCell(durationText(step.percentile)) +
               numberCell(durationText(step.longest));
    });
    return section("Steps", table("steps",
                                  {{"No.", "n"},
                                   {"Step", ""},
                                   {"Count", "n"},
                                   {"Failed", "n"},
                                   {"Median", "n"},
                                   {"95 %", "n"},
                                   {"Longest", "n"}},
                                  rows));
}

} // namespace host::view
