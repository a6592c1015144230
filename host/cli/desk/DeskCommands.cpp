#include "host/cli/DeskCommands.h"

#include <array>
#include <charconv>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "host/card/Pins.h"
#include "host/cli/card/TerminalPerson.h"
#include "host/cli/desk/DeskArguments.h"
#include "host/cli/desk/IssueCommands.h"
#include "host/desk/journal/Journal.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Paths.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

/// The desk could not even be opened.
class DeskNotOpened : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Action {
    std::string_view word;
    ExitStatus (*run)(const Options& options, const Output& output);
    std::array<const char*, 3> options; ///< that only this action takes
};

constexpr std::array kActions = {
    Action{"status", showDesk, {}},
    Action{"retry", retryFailedRows, {}},
    Action{"redo", redoRow, {"--row"}},
    Action{"drop", dropRow, {"--row"}},
    Action{"export", exportDesk, {"--format", "--out"}},
    Action{"report", reportOnDesk, {"--out"}},
};
constexpr Action kIssue = {"PLAN", issueCards, {"--cards", "--station", "--readers"}};

const Action& actionOf(const std::string& word) {
    for (const Action& action : kActions) {
        if (action.word == word) {
            return action;
        }
    }
    return kIssue;
}

/// A word that is no file and nearly an action is no plan.
void refuseMisspeltAction(const std::string& word) {
    std::vector<std::string> words;
    for (const Action& action : kActions) {
        words.emplace_back(action.word);
    }
    std::error_code ignored;
    const bool isPath = word.find_first_of("./\\") != std::string::npos;
    const std::string meant = isPath ? "" : suggestion(word, words);
    if (!meant.empty() && !std::filesystem::exists(pathOf(word), ignored)) {
        throw UsageError("\"" + printable(word) + "\" is no file, and \"issue\" has no such action" + meant);
    }
}

/// An option of another action would have no effect.
void refuseStrayOptions(const Action& action, const CardArguments& arguments) {
    for (const char* const name :
         {"--cards", "--station", "--readers", "--progress", "--dry-run", "--row", "--format", "--out"}) {
        const bool isOfIssue = std::string_view(name) == "--progress" || std::string_view(name) == "--dry-run";
        bool isTaken = isOfIssue && action.run == kIssue.run;
        for (const char* const own : action.options) {
            isTaken = isTaken || (own != nullptr && std::string_view(own) == name);
        }
        if (arguments.has(name) && !isTaken) {
            throw UsageError("\"issue " + std::string(action.word) + "\" takes no " + name);
        }
    }
}

/// Reads where the password comes from. What stands there instead is not repeated: it may be the password.
PinSource readPasswordSource(const std::string& text) {
    try {
        return readPinSource(text);
    } catch (const UsageError&) {
        throw UsageError("--desk-password: a password does not stand on the command line; say where it comes from: "
                         "prompt, env:NAME, file:PATH, fd:N and command:PROGRAM");
    }
}

ExitStatus runIssue(const Options& options, const Output& output) {
    const Action& action = actionOf(options.card.operands.front());
    if (action.run == kIssue.run) {
        refuseMisspeltAction(options.card.operands.front());
    }
    refuseStrayOptions(action, options.card);
    try {
        return action.run(options, output);
    } catch (const DeskNotOpened& error) {
        complain(output, error.what());
        output.message("  No card was begun, and nothing was changed. Run the command again when the desk can be "
                       "used.\n");
        return ExitStatus::Failed;
    } catch (const desk::JournalError& error) {
        complain(output, error.what());
        output.message("  What was done before is in the desk. The same command goes on when the desk can be used "
                       "again.\n");
        return ExitStatus::Failed;
    }
}

CommandRow issueRow() {
    return {
        "issue",
        "issue a card to each person of a list",
        {{"PLAN", "A plan; or one of status, retry, redo, drop, report and export"}},
        {{"--cards", "FILE", "The list of persons, CSV in UTF-8; its first line names the columns"},
         {"--desk", "DESK", "The journal: a file, or postgresql://HOST/DATABASE"},
         {"--desk-password", "SOURCE", "Of the database's user; default: PostgreSQL's own ways, such as PGPASSFILE"},
         {"--station", "NAME", "This process at a desk that several share; default: station"},
         {"--readers", "GLOB", "Only readers whose names fit; repeatable", true},
         {"--progress", "auto|lines|json|none", "How progress is shown; default: auto"},
         {"--dry-run", "", "Check plan and list, show the readers, and touch nothing"},
         {"--row", "N", "Of redo and drop: the row of the list"},
         {"--format", "csv|jsonl", "Of export; default: csv"},
         {"--out", "FILE", "Of report and export: write into FILE"}},
        "Each person gets one card: the steps of the plan are done on it, and each is in the journal before it "
        "begins. The same command goes on after an interruption, however it came.\n"
        "  p11host issue plan.json --cards people.csv --desk desk.db --dry-run\n"
        "  p11host issue plan.json --cards people.csv --desk desk.db\n"
        "  p11host issue status --desk desk.db\n"
        "  p11host issue retry --desk desk.db\n"
        "  p11host issue redo --row 17 --desk desk.db\n"
        "  p11host issue report --desk desk.db --out report.html\n"
        "  p11host issue export --desk desk.db --out desk.csv\n"
        "\"retry\" makes failed rows wait again, \"redo\" issues a lost card anew, and \"drop\" takes a row out "
        "of the batch. Certificates that are on no good card stand in the answer of \"status\" for revocation.\n"
        "Status 0 when every row is done, 1 when some failed, 2 for a plan or list that cannot be used, 130 after "
        "Ctrl-C.\n"};
}

} // namespace

std::vector<DeskCommand> deskCommands() {
    return {{issueRow(), runIssue}};
}

std::string requiredDesk(const Options& options) {
    const std::optional<std::string> desk = options.card.value("--desk");
    if (!desk || desk->empty()) {
        throw UsageError("--desk is missing: a file for the journal, or the URL of a database of PostgreSQL");
    }
    return *desk;
}

desk::Journal openDesk(const Options& options, const Output& output, desk::IfMissing ifMissing,
                       std::function<void(const std::string& text)> tell) {
    const std::string desk = requiredDesk(options);
    desk::ServerAccess access;
    access.tell = tell ? std::move(tell) : [&output](const std::string& text) { output.message(text + "\n"); };
    if (const std::optional<std::string> source = options.card.value("--desk-password")) {
        TerminalPerson person(output);
        access.password = readPassphrase(readPasswordSource(*source), "Password of the desk's database", person);
    }
    try {
        return desk::Journal(desk, ifMissing, std::move(access));
    } catch (const desk::JournalError& error) {
        throw DeskNotOpened(error.what());
    }
}

std::int64_t requiredRow(const Options& options) {
    const std::string text = options.card.value("--row").value_or("");
    std::int64_t row = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), row);
    if (error != std::errc() || end != text.data() + text.size() || row < 1) {
        throw UsageError("--row takes the number of a row, such as 17; \"p11host issue status\" shows them");
    }
    return row;
}

} // namespace host
