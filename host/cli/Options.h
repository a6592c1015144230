#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/cli/CardArguments.h"
#include "host/plugin/ExitStatus.h"
#include "host/scripts/Session.h"

namespace host {

/// The command line.
struct Options {
    std::string plugin; ///< empty: the default one
    ModuleChoice choice;
    std::optional<std::string> reader;
    std::optional<std::string> trace;
    std::uint32_t traceLevels = 31;
    std::optional<std::string> watch; ///< the record of the module's calls
    bool json = false;
    bool stopOnError = false; ///< of "run"
    bool check = false;       ///< of "run": look at the job, call nothing
    bool raw = false;         ///< of a script: pass its arguments as they stand
    bool all = false;         ///< of "removeData": without a term to choose by
    bool yes = false;         ///< the person's answer to what would be asked
    std::string command;
    std::vector<std::string> arguments; ///< ID=VALUE of a script
    std::string topic;                  ///< of "help": a command
    std::string job;                    ///< of "run": a file, or "-"
    CardArguments card;                 ///< of a card command
};

/// The end of a program that has nothing to do: help, the version, or wrong usage.
struct NothingToDo {
    ExitStatus status = ExitStatus::Success;
    std::string result;  ///< for standard output
    std::string message; ///< for standard error
};

/// Whether a line on standard error may say what is under way. A trace on the same terminal would break it, and a dumb
/// terminal cannot go back in it.
[[nodiscard]] bool showsProgress(const Options& options);

/// Reads the arguments (UTF-8, without the program's name).
[[nodiscard]] std::variant<Options, NothingToDo> readOptions(const std::vector<std::string>& arguments);

} // namespace host
