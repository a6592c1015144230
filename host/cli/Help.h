#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/CommandTable.h"
#include "host/scripts/Scripts.h"

namespace host {

/// How wide help is when nobody says otherwise.
inline constexpr std::size_t kHelpWidth = 80;

/// A name and what it means.
struct HelpRow {
    std::string name;
    std::string meaning;
};

/// The words of `text`, broken so that no line has more than `width` columns if it can be; each line begins with
/// `indent` blanks and ends with a line end. A line end in the text stays one, and a line that
/// begins with a blank is not changed.
[[nodiscard]] std::string wrapped(std::string_view text, std::size_t width, std::size_t indent);

/// Two columns: names, and meanings wrapped beside them, or below a name that is too long.
[[nodiscard]] std::string helpTable(const std::vector<HelpRow>& rows, std::size_t width);

/// Everything about a parameter of a script in one sentence: what it means, whether it is needed, and with what.
[[nodiscard]] std::string meaningOf(const ScriptParameter& parameter);

/// The tables of options, operands, values of scripts and exit statuses: help and the manual page show the same ones.
[[nodiscard]] std::vector<HelpRow> optionRows(const std::vector<OptionRow>& options);
[[nodiscard]] std::vector<HelpRow> operandRows(const std::vector<OperandRow>& operands);
[[nodiscard]] std::vector<HelpRow> kindRows();
[[nodiscard]] std::vector<HelpRow> statusRows();

/// Help for the program and for a command, `width` columns wide.
[[nodiscard]] std::string programHelp(std::size_t width);
[[nodiscard]] std::string commandHelp(const CommandRow& command, std::size_t width);

/// How wide help is on the terminal of this process: as wide as that, between 40 and 80 columns.
[[nodiscard]] std::size_t helpWidth();

/// The lines of a script's example as whole commands, "\\" at the end of each but the last.
[[nodiscard]] std::vector<std::string> exampleLines(const Script& script);

} // namespace host
