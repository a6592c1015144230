#include "host/cli/CommandTable.h"

#include <algorithm>
#include <sstream>

#include "host/cli/DeskCommands.h"
#include "host/cli/TimelineCommand.h"

namespace host {

namespace {

const OptionRow kRaw = {"--raw", "", "Pass the arguments unchanged and unchecked"};

/// The lines of a paragraph as one line: the width of help decides where it is broken.
std::string joinedLines(const std::string& notes) {
    std::string text;
    std::istringstream lines(notes);
    for (std::string line; std::getline(lines, line);) {
        const bool isIndented = line.substr(0, 1) == " ";
        const bool continues = !text.empty() && text.back() != '\n' && !isIndented;
        text += continues ? " " : (text.empty() || text.back() == '\n' ? "" : "\n");
        text += isIndented ? line + "\n" : line;
    }
    return text.empty() || text.back() == '\n' ? text : text + "\n";
}

CommandRow cardCommand(const CardCommand& command) {
    CommandRow row = {command.name, command.summary, {}, {}, joinedLines(command.notes), nullptr, &command};
    for (const CardOperand& operand : command.operands) {
        row.operands.push_back({operand.name, operand.help});
    }
    for (const CardOption& option : command.options) {
        row.options.push_back({option.name, option.value, option.help});
    }
    return row;
}

CommandRow scriptCommand(const Script& script) {
    CommandRow row = {script.name, script.summary, {{"[ID=VALUE...]", ""}}, {kRaw}, "", &script};
    if (row.name == "removeData") {
        row.options.push_back({"--all", "", "Remove everything when no search parameter is given"});
        row.options.push_back({"--yes", "", "Remove without asking"});
    }
    return row;
}

std::vector<CommandRow> ownCommands() {
    return {
        {"info",
         "show what the plug-in and the module say of themselves",
         {},
         {},
         "Shows version, type, name, description, whether the executor is usable (validate), whether it runs locally, "
         "and its scripts. Status 3 when it is not usable.\n"},
        {"scripts", "list the scripts", {}, {}, "Each script is a command of its own.\n"},
        {"run",
         "carry out a job of many steps",
         {{"JOB", "A file, or \"-\" for standard input"}},
         {{"--check", "", "Look for errors in the job and call nothing"},
          {"--stop-on-error", "", "End the job after the first failed step"}},
         jobNotes()},
        timelineCommand(),
        {"help", "explain the program or a command", {{"[COMMAND]", ""}}, {}, ""},
    };
}

/// All but the card commands and the scripts.
std::vector<CommandRow> commandsOfOurOwn() {
    std::vector<CommandRow> rows;
    for (DeskCommand& command : deskCommands()) {
        rows.push_back(std::move(command.row));
    }
    for (CommandRow& row : ownCommands()) {
        rows.push_back(std::move(row));
    }
    return rows;
}

} // namespace

const std::vector<OptionRow>& commonOptions() {
    static const std::vector<OptionRow> kOptions = {
        {"--plugin", "FILE", "The plug-in; default: beside the program or in ../lib"},
        {"--module", "FILE", "The PKCS #11 module; default: environment P11HOST_MODULE"},
        {"--reader-prefix", "TEXT", "Prefix that reader names carry"},
        {"--reader", "TEXT", "The reader to work on, as \"readers\" shows it"},
        {"--trace", "FILE", "Trace as JSON lines into FILE; \"-\": as text on standard error"},
        {"--trace-levels", "MASK", "Sum of 1 failures, 2 calls, 4 values, 8 entries, 16 exits; default: 31"},
        {"--watch", "FILE", "Record the calls of the module into FILE, with PINs, keys and data masked"},
        {"--json", "", "Machine-readable output"},
        {"--version", "", "Show the version, also -V"},
        {"--help", "", "Explain the program or the command, also -h"},
    };
    return kOptions;
}

const std::vector<CommandRow>& commandTable() {
    static const std::vector<CommandRow> kCommands = [] {
        std::vector<CommandRow> rows;
        for (const CardCommand& command : cardCommands()) {
            rows.push_back(cardCommand(command));
        }
        for (CommandRow& row : commandsOfOurOwn()) {
            rows.push_back(std::move(row));
        }
        for (const Script& script : scripts()) {
            rows.push_back(scriptCommand(script));
        }
        return rows;
    }();
    return kCommands;
}

const CommandRow* findCommand(const std::string& name) {
    const std::vector<CommandRow>& all = commandTable();
    const auto row = std::find_if(all.begin(), all.end(), [&](const CommandRow& entry) { return entry.name == name; });
    return row == all.end() ? nullptr : &*row;
}

const std::vector<StatusRow>& statusTable() {
    static const std::vector<StatusRow> kStatuses = {
        {"0", "all went well"},
        {"1", "an operation failed in another way than those below, or threw"},
        {"2", "usage, or a malformed job"},
        {"3", "the plug-in could not be loaded, or gave no usable executor"},
        {"4", "object or key not found"},
        {"5", "PIN wrong"},
        {"6", "PIN locked or expired"},
        {"7", "token absent, removed or not recognised"},
        {"8", "a parameter is missing or bad"},
        {"9", "refused for safety before anything was sent to the token"},
        {"130", "interrupted by Ctrl-C; in general 128 and the signal's number"},
    };
    return kStatuses;
}

std::string usageOf(const CommandRow& command) {
    std::string text = command.name;
    for (const OperandRow& operand : command.operands) {
        text += " " + operand.name;
    }
    return text;
}

const char* jobNotes() {
    return "A job is one step a line, each carried out and answered at once by one line of JSON, or one document "
           "[STEP, ...] or {\"steps\":[STEP, ...]}. Steps are objects such as\n"
           "  {\"call\":\"newInstance\",\"parameters\":{\"DLLNAME\":\"m.so\"}}\n"
           "  {\"call\":\"initialize\"}\n"
           "  {\"call\":\"execute\",\"operation\":\n"
           "   {\"script\":\"authenticate\",\"parameters\":\n"
           "    {\"AUTH_TYPE\":\"STATIC\",\"PIN\":{\"env\":\"CARD_PIN\"}}}}\n"
           "Further calls: terminate, freeInstance, getVersion, getType, getName, getDescription, getSupportedScripts, "
           "validate, isLocal. \"as\" and \"on\" name instances. \"newInstance\" without \"parameters\" takes --module "
           "and --reader-prefix.\n"
           "A failed step does not end the job unless --stop-on-error is given; the exit status is that of the first "
           "failure. A file is looked at as a whole first: when a step is malformed, nothing is called.\n";
}

} // namespace host
