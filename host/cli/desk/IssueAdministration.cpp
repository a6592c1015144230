#include "host/cli/OutFile.h"
#include "host/cli/Table.h"
#include "host/cli/desk/DeskArguments.h"
#include "host/cli/desk/IssueCommands.h"
#include "host/desk/journal/Journal.h"
#include "host/desk/report/Status.h"
#include "host/plugin/Answers.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/view/desk/Export.h"
#include "host/view/desk/ReportPage.h"

namespace host {

namespace {

using Persons = std::vector<desk::Journal::Person>;

/// Whose rows were changed, and what comes next.
ExitStatus answerRows(const Options& options, const Output& output, const std::string& action, const Persons& persons,
                      const std::string& next) {
    Json list = Json::array();
    std::string text;
    for (const desk::Journal::Person& person : persons) {
        list.push_back({{"row", person.row}, {"who", person.who}});
        text += "Row " + std::to_string(person.row) + ", " + printable(person.who) + ".\n";
    }
    return writeResult(output, options.json ? jsonLine({{"command", "issue " + action},
                                                        {"ok", true},
                                                        {"rows", persons.size()},
                                                        {"persons", std::move(list)}})
                                            : text + next + "\n");
}

constexpr const char* kGoOn =
    "The command that began the batch goes on with it: p11host issue PLAN --cards FILE --desk "
    "DESK.";
constexpr const char* kRevocations = " A certificate that it had is listed for revocation: p11host issue status.";

/// What a person wants to know: how far the batch is, and what asks for a decision.
std::string readableStatus(const desk::DeskRecord& record, const desk::Journal::Totals& totals) {
    std::string text = "Plan \"" + printable(record.plan) + "\": " + std::to_string(totals.done) + " of " +
                       std::to_string(totals.total()) + " done, " + std::to_string(totals.running) + " under way, " +
                       std::to_string(totals.waiting) + " waiting, " + std::to_string(totals.failed) + " failed, " +
                       std::to_string(totals.dropped) + " dropped.\n";
    for (const desk::RowRecord& row : record.rows) {
        if (row.state == desk::RowState::Failed) {
            text += "Row " + std::to_string(row.row) + ", " + printable(row.who) + ": " + printable(row.reason) +
                    ".\n  " + printable(row.remedy) + "\n";
        }
    }
    for (const desk::RevocationRecord& revocation : record.revocations) {
        text += "Revoke: row " + std::to_string(revocation.row) +
                (revocation.certificate.empty() ? ", a certificate that nobody received: " : ": ") +
                printable(revocation.reason) + ".\n";
    }
    return text;
}

desk::DeskRecord readDesk(const Options& options, const Output& output) {
    desk::Journal journal = openDesk(options, output, desk::IfMissing::Look);
    journal.requireDesk();
    return journal.read();
}

/// Nobody should learn that a file cannot be written when all else is done. SQLite's own files are a part of the desk.
void checkOut(const Options& options, const std::string& desk) {
    const std::optional<std::string> file = options.card.value("--out");
    if (file && *file != "/dev/stdout" && *file != "/dev/stderr") {
        checkOutFile(*file, {desk, desk + "-wal", desk + "-shm", desk + "-journal"});
    }
}

ExitStatus deliver(const Options& options, const Output& output, const std::string& text) {
    const std::optional<std::string> file = options.card.value("--out");
    // Standard output may lead to a file that others write, too, which must not be replaced.
    if (!file || *file == "/dev/stdout") {
        return writeResult(output, text);
    }
    if (*file == "/dev/stderr") {
        output.message(text);
        return ExitStatus::Success;
    }
    if (const std::optional<std::string> reason = replaceFile(*file, text)) {
        complain(output, "cannot write the file \"" + *file + "\": " + *reason);
        return ExitStatus::Failed;
    }
    return ExitStatus::Success;
}

} // namespace

ExitStatus showDesk(const Options& options, const Output& output) {
    desk::Journal journal = openDesk(options, output, desk::IfMissing::Look);
    journal.requireDesk();
    const desk::DeskRecord record = journal.read();
    return writeResult(output, options.json ? statusJson(record) : readableStatus(record, journal.totals()));
}

ExitStatus retryFailedRows(const Options& options, const Output& output) {
    desk::Journal journal = openDesk(options, output, desk::IfMissing::Refuse);
    journal.requireDesk();
    const Persons persons = journal.retryFailed();
    return answerRows(options, output, "retry", persons,
                      persons.empty() ? "No row has failed, so nothing was changed."
                                      : "Failed rows that wait to be issued again: " + std::to_string(persons.size()) +
                                            ". " + kGoOn);
}

ExitStatus redoRow(const Options& options, const Output& output) {
    const std::int64_t row = requiredRow(options);
    desk::Journal journal = openDesk(options, output, desk::IfMissing::Refuse);
    journal.requireDesk();
    const desk::Journal::Person person = journal.redo(row);
    return answerRows(options, output, "redo", {person},
                      "It waits for a new card." + std::string(kRevocations) + " " + kGoOn);
}

ExitStatus dropRow(const Options& options, const Output& output) {
    const std::int64_t row = requiredRow(options);
    desk::Journal journal = openDesk(options, output, desk::IfMissing::Refuse);
    journal.requireDesk();
    const desk::Journal::Person person = journal.drop(row);
    return answerRows(options, output, "drop", {person}, "It is out of the batch." + std::string(kRevocations));
}

ExitStatus exportDesk(const Options& options, const Output& output) {
    const std::string format = options.card.value("--format").value_or("csv");
    if (format != "csv" && format != "jsonl") {
        throw UsageError("--format takes csv or jsonl");
    }
    checkOut(options, requiredDesk(options));
    const desk::DeskRecord record = readDesk(options, output);
    std::string text;
    const auto add = [&](const std::string& line) { text += line; };
    format == "csv" ? view::exportCsv(record, add) : view::exportJsonLines(record, add);
    return deliver(options, output, text);
}

ExitStatus reportOnDesk(const Options& options, const Output& output) {
    if (!options.card.has("--out")) {
        throw UsageError("--out is missing: the file for the page, such as report.html");
    }
    checkOut(options, requiredDesk(options));
    return deliver(options, output, view::reportPageOf(readDesk(options, output)));
}

} // namespace host
