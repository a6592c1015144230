#pragma once

#include <string>
#include <vector>

namespace host {

/// A parameter or an output of a script, as its help shows it.
struct ScriptValue {
    const char* id;   ///< "LABEL", or an argument as one writes it, "LABEL=text:..."
    const char* help; ///< one line
};

/// A script as a command of its own.
struct Script {
    const char* name;
    const char* summary;                 ///< one line
    std::vector<ScriptValue> parameters; ///< with the kind in which each is best given
    std::vector<ScriptValue> outputs;    ///< beside "ERROR"
    const char* errors;                  ///< which failures are typical; lines end with a line end
    const char* notes;                   ///< what else one should know, or an example; lines end with a line end
    const char* promise = nullptr;       ///< an output without which even code 0 is no success; null: none
};

/// The eighteen scripts in the order in which the plug-in lists them.
[[nodiscard]] const std::vector<Script>& scripts();

/// The id of the output that the script with this name promises; empty when it promises no output.
[[nodiscard]] std::string promiseOf(const std::string& script);

/// The text below a script's usage: parameters, outputs, typical errors, notes.
[[nodiscard]] std::string scriptHelp(const Script& script);

} // namespace host
