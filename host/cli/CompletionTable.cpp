#include "host/cli/CompletionTable.h"

#include <algorithm>
#include <array>

namespace host {

namespace {

struct NamedQuery {
    const char* option;
    const char* query;
};

constexpr std::array<NamedQuery, 4> kQueries = {{
    {"--reader", "readers"},
    {"--token", "tokens"},
    {"--serial", "serials"},
    {"--id", "identifiers"},
}};

void addValueOptions(std::vector<OptionRow>& all, const std::vector<OptionRow>& options) {
    for (const OptionRow& option : options) {
        const bool isKnown =
            std::any_of(all.begin(), all.end(), [&](const OptionRow& row) { return row.name == option.name; });
        if (!option.value.empty() && !isKnown) {
            all.push_back(option);
        }
    }
}

} // namespace

Offer offerOf(const OptionRow& option) {
    for (const NamedQuery& named : kQueries) {
        if (option.name == named.option) {
            return {OfferKind::Query, {named.query}};
        }
    }
    if (option.value == "FILE" || option.value == "FOLDER") {
        return {OfferKind::Files, {}};
    }
    if (option.value == "SOURCE") {
        return {OfferKind::Words, {"prompt", "env:", "file:", "fd:", "command:"}};
    }
    return option.value.find('|') == std::string::npos ? Offer() : Offer{OfferKind::Words, wordsOf(option.value)};
}

const std::vector<OptionRow>& valueOptions() {
    static const std::vector<OptionRow> kOptions = [] {
        std::vector<OptionRow> all;
        addValueOptions(all, commonOptions());
        for (const CommandRow& command : commandTable()) {
            addValueOptions(all, command.options);
        }
        return all;
    }();
    return kOptions;
}

std::vector<std::string> valuesOf(const ScriptParameter& parameter) {
    if (parameter.kind == ValueKind::Keyword) {
        return wordsOf(parameter.words);
    }
    return parameter.kind == ValueKind::Flag ? wordsOf("1|0") : waysToWrite(parameter.kind);
}

const std::vector<ScriptParameter>& parametersOf(const CommandRow& command) {
    static const std::vector<ScriptParameter> kNone;
    return command.script == nullptr ? kNone : command.script->parameters;
}

bool takesFiles(const CommandRow& command) {
    const std::string first = command.operands.empty() ? "" : command.operands.front().name;
    return first == "FILE" || first == "JOB";
}

std::string commandNames() {
    std::vector<std::string> names;
    for (const CommandRow& row : commandTable()) {
        names.push_back(row.name);
    }
    return spaced(names);
}

std::string spaced(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

} // namespace host
