#pragma once

#include <string>
#include <vector>

#include "host/cli/CommandTable.h"

// What completion offers, for every shell. Each shell's script is made of it.

namespace host {

enum class OfferKind {
    Nothing,
    Words, ///< a few words
    Files, ///< names of files
    Query, ///< what "p11host complete WORD" prints
};

/// What may follow an option.
struct Offer {
    OfferKind kind = OfferKind::Nothing;
    std::vector<std::string> words; ///< of a query: the one word
};

/// What may follow the option; nothing for a switch.
[[nodiscard]] Offer offerOf(const OptionRow& option);

/// All options that take a value, of the program and of its commands, each once.
[[nodiscard]] const std::vector<OptionRow>& valueOptions();

/// What may follow "ID=" of a script's parameter.
[[nodiscard]] std::vector<std::string> valuesOf(const ScriptParameter& parameter);

/// The parameters of a script; empty for other commands.
[[nodiscard]] const std::vector<ScriptParameter>& parametersOf(const CommandRow& command);

/// Returns true when the command's arguments are names of files.
[[nodiscard]] bool takesFiles(const CommandRow& command);

/// The names of all commands with blanks between them.
[[nodiscard]] std::string commandNames();

/// The words with blanks between them.
[[nodiscard]] std::string spaced(const std::vector<std::string>& words);

} // namespace host
