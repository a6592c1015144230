#include "host/cli/Help.h"

#include <algorithm>

#include "host/plugin/Texts.h"

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

std::string exampleOf(const Script& script) {
    std::string text = std::string("  p11host --reader R ") + script.name;
    for (const std::string& line : linesOf(script.example)) {
        text += " \\\n    " + line;
    }
    return *script.example == '\0' ? "" : "Example:\n" + text + "\n";
}

} // namespace

std::string wrapped(std::string_view text, std::size_t width, std::size_t indent) {
    std::string result;
    const std::size_t room = width > indent + 1 ? width - indent : 1;
    for (const std::string& line : linesOf(text)) {
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

std::string scriptHelp(const Script& script, std::size_t width) {
    std::vector<HelpRow> outputs;
    for (const ScriptOutput& output : script.outputs) {
        outputs.push_back({output.id, output.help});
    }
    return table("Parameters", parameterRows(script), width) + table("Answers, beside ERROR", outputs, width) +
           paragraphs("Typical errors", script.errors, width) + paragraphs("Notes", script.notes, width) +
           exampleOf(script);
}

} // namespace host
