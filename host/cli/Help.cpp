#include "host/cli/Help.h"

#include <algorithm>

#include "host/plugin/Texts.h"
#include "host/scripts/Parameters.h"
#include "platform/Console.h"

namespace host {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kWidestName = 24;

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/// The words of one line in lines of `room` columns.
std::vector<std::string> broken(std::string_view text, std::size_t room) {
    std::vector<std::string> lines;
    std::string line;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        const std::string word(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!line.empty() && columns(line) + 1 + columns(word) > room) {
            lines.push_back(std::move(line));
            line.clear();
        }
        line += line.empty() ? word : " " + word;
    }
    lines.push_back(std::move(line));
    return lines;
}

std::string paragraphs(const char* title, std::string_view text, std::size_t width) {
    return text.empty() ? "" : std::string(title) + ":\n" + wrapped(text, width, kIndent);
}

std::string table(const char* title, const std::vector<HelpRow>& rows, std::size_t width) {
    return rows.empty() ? "" : std::string(title) + ":\n" + helpTable(rows, width);
}

std::vector<HelpRow> parameterRows(const Script& script) {
    std::vector<HelpRow> rows;
    for (const ScriptParameter& parameter : script.parameters) {
        rows.push_back({written(parameter), meaningOf(parameter)});
    }
    return rows;
}

std::string scriptHelp(const Script& script, std::size_t width) {
    std::vector<HelpRow> outputs;
    for (const ScriptOutput& output : script.outputs) {
        outputs.push_back({output.id, output.help});
    }
    std::string example;
    for (const std::string& line : exampleLines(script)) {
        example += "  " + line + "\n";
    }
    return table("Parameters", parameterRows(script), width) + table("Answers, beside ERROR", outputs, width) +
           paragraphs("Typical errors", script.errors, width) + paragraphs("Notes", script.notes, width) +
           (example.empty() ? "" : "Example:\n" + example);
}

std::vector<HelpRow> commandRows(bool areScripts) {
    std::vector<HelpRow> rows;
    for (const CommandRow& command : commandTable()) {
        if ((command.script != nullptr) == areScripts) {
            rows.push_back({command.name, command.summary});
        }
    }
    return rows;
}

} // namespace

std::vector<HelpRow> optionRows(const std::vector<OptionRow>& options) {
    std::vector<HelpRow> rows;
    for (const OptionRow& option : options) {
        rows.push_back({option.value.empty() ? option.name : option.name + " " + option.value, option.help});
    }
    return rows;
}

std::vector<HelpRow> operandRows(const std::vector<OperandRow>& operands) {
    std::vector<HelpRow> rows;
    for (const OperandRow& operand : operands) {
        if (!operand.help.empty()) {
            rows.push_back({operand.name, operand.help});
        }
    }
    return rows;
}

std::vector<HelpRow> kindRows() {
    std::vector<HelpRow> rows = {{"ID=VALUE", "a word, 1 or 0, as it stands"}};
    for (const ParameterKind& kind : parameterKinds()) {
        const std::string help = kind.help;
        const std::size_t end = help.find(' ');
        rows.push_back({"ID=" + help.substr(0, end), help.substr(help.find_first_not_of(' ', end))});
    }
    return rows;
}

std::vector<HelpRow> statusRows() {
    std::vector<HelpRow> rows;
    for (const StatusRow& row : statusTable()) {
        rows.push_back({row.status, row.meaning});
    }
    return rows;
}

std::string wrapped(std::string_view text, std::size_t width, std::size_t indent) {
    std::string result;
    const std::size_t room = width > indent + 1 ? width - indent : 1;
    for (const std::string& line : linesOf(text)) {
        if (line.substr(0, 1) == " ") {
            result += line + "\n";
            continue;
        }
        for (const std::string& piece : broken(line, room)) {
            result.append(piece.empty() ? 0 : indent, ' ').append(piece).append("\n");
        }
    }
    return result;
}

std::string helpTable(const std::vector<HelpRow>& rows, std::size_t width) {
    std::size_t widest = 0;
    for (const HelpRow& row : rows) {
        widest = columns(row.name) > kWidestName ? widest : std::max(widest, columns(row.name));
    }
    const std::size_t column = kIndent + widest + 2;
    std::string text;
    for (const HelpRow& row : rows) {
        const std::string meaning = wrapped(row.meaning, width, column);
        const std::size_t used = kIndent + columns(row.name);
        text.append(kIndent, ' ').append(row.name);
        if (used + 2 <= column && !meaning.empty()) {
            text.append(column - used, ' ').append(meaning, column, std::string::npos);
        } else {
            text.append("\n").append(meaning);
        }
    }
    return text;
}

std::string meaningOf(const ScriptParameter& parameter) {
    std::string text = parameter.help;
    if (parameter.need != Need::Optional) {
        text += parameter.need == Need::Always ? "; required" : "; required, unless a job gave it before";
    }
    const std::vector<std::string> objects = wordsOf(parameter.objects);
    return objects.empty() ? text : text + " (" + joined(objects) + ")";
}

std::vector<std::string> exampleLines(const Script& script) {
    std::vector<std::string> lines = linesOf(script.example);
    if (!lines.empty()) {
        lines.insert(lines.begin(), std::string("p11host --reader R ") + script.name);
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
        lines[i] = (i == 0 ? "" : "  ") + lines[i] + (i + 1 < lines.size() ? " \\" : "");
    }
    return lines;
}

std::string programHelp(std::size_t width) {
    return wrapped("Drives a token through the PKCS #11 plug-in: readers, PINs, keys, certificates, signatures.", width,
                   0) +
           "\nUsage: p11host [OPTIONS] COMMAND\n\n" + table("Options", optionRows(commonOptions()), width) + "\n" +
           table("Commands", commandRows(false), width) + "\n" +
           table("Scripts of the plug-in", commandRows(true), width) + "\n" +
           table("Values of scripts", kindRows(), width) + "\n" + table("Exit status", statusRows(), width) +
           "\n\"p11host help COMMAND\" explains a command.\n";
}

std::string commandHelp(const CommandRow& command, std::size_t width) {
    const std::vector<std::string> parts = {wrapped(command.name + ": " + command.summary, width, 0),
                                            wrapped("Usage: p11host [OPTIONS] " + usageOf(command), width, 0),
                                            wrapped(command.notes, width, 0),
                                            table("Arguments", operandRows(command.operands), width),
                                            table("Options", optionRows(command.options), width),
                                            command.script == nullptr ? "" : scriptHelp(*command.script, width),
                                            command.script == nullptr ? "" : table("Values", kindRows(), width)};
    std::string text;
    for (const std::string& part : parts) {
        text += part.empty() ? "" : part + "\n";
    }
    return text + wrapped("\"p11host help\" explains the options that every command takes.", width, 0);
}

std::size_t helpWidth() {
    const std::size_t terminal = platform::terminalColumns();
    return terminal == 0 ? kHelpWidth : std::clamp<std::size_t>(terminal, 40, kHelpWidth);
}

} // namespace host
