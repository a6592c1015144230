#pragma once

#include <string>
#include <vector>

#include "host/cli/Options.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/Output.h"

// The card commands as data: the command line, its help, the manual page and completion are made of this table. A build
// without card commands has an empty one.

namespace host {

class CardRun;

/// An option of a card command.
struct CardOption {
    const char* name;  ///< "--id"
    const char* value; ///< what it takes, "HEX"; empty for a switch
    const char* help;  ///< one line
    bool isRepeatable = false;
};

/// An argument without a name, required.
struct CardOperand {
    const char* name; ///< "FILE"
    const char* help; ///< one line
};

/// A card command. The options that every command of p11host takes (--module, --reader, --json …) are not repeated.
struct CardCommand {
    const char* name;
    const char* summary; ///< one line, beginning with a verb
    std::vector<CardOperand> operands;
    std::vector<CardOption> options;
    std::string notes; ///< what else one should know, with an example; lines end with a line end
    void (*run)(CardRun& run);
};

/// All card commands in the order in which they are explained.
[[nodiscard]] const std::vector<CardCommand>& cardCommands();
/// Null when there is no card command with this name.
[[nodiscard]] const CardCommand* findCardCommand(const std::string& name);

/// Carries out a card command and answers: a result on standard output, or why not on standard error; with --json one
/// line on standard output in both cases.
[[nodiscard]] ExitStatus runCardCommand(const CardCommand& command, const Options& options, const Output& output);

/// The line that a wrong command line is answered with when --json is given.
[[nodiscard]] std::string wrongUsageLine(const CardCommand& command, const std::string& reason);

} // namespace host
