#pragma once

#include <string>
#include <vector>

#include "host/cli/CardTable.h"
#include "host/scripts/Scripts.h"

// The command line as data: help, the manual pages and completion are made of these tables.

namespace host {

/// An option of the program or of a command.
struct OptionRow {
    std::string name;  ///< "--module"
    std::string value; ///< what it takes, "FILE"; empty for a switch
    std::string help;
    bool isRepeatable = false;
};

/// An argument without a name.
struct OperandRow {
    std::string name; ///< as usage shows it, "JOB"
    std::string help;
};

/// A command.
struct CommandRow {
    std::string name;
    std::string summary;
    std::vector<OperandRow> operands;
    std::vector<OptionRow> options;    ///< beside those of all commands
    std::string notes;                 ///< paragraphs, one a line; a line that begins with a blank is shown unchanged
    const Script* script = nullptr;    ///< set when the command runs a script
    const CardCommand* card = nullptr; ///< set when it is a card command
};

/// An exit status and what it means.
struct StatusRow {
    const char* status;
    const char* meaning;
};

/// Options that every command takes.
[[nodiscard]] const std::vector<OptionRow>& commonOptions();
/// All commands in the order in which they are explained: card commands, the program's own, scripts.
[[nodiscard]] const std::vector<CommandRow>& commandTable();
/// Null for an unknown name.
[[nodiscard]] const CommandRow* findCommand(const std::string& name);
[[nodiscard]] const std::vector<StatusRow>& statusTable();

/// A command's name with its operands: "run JOB".
[[nodiscard]] std::string usageOf(const CommandRow& command);

/// What a job is, for its help and its manual page; notes as in CommandRow.
[[nodiscard]] const char* jobNotes();

} // namespace host
