#include "host/cli/CommandTable.h"
#include "host/cli/Pages.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

/// What may stand behind "ID=".
std::vector<std::string> valuesOf(const ScriptParameter& parameter) {
    if (parameter.kind == ValueKind::Keyword) {
        return wordsOf(parameter.words);
    }
    return parameter.kind == ValueKind::Flag ? wordsOf("1|0") : waysToWrite(parameter.kind);
}

std::string spaced(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    for (const CommandRow& row : commandTable()) {
        names.push_back(row.name);
    }
    return names;
}

std::vector<std::string> namesOf(const std::vector<OptionRow>& options) {
    std::vector<std::string> names;
    for (const OptionRow& option : options) {
        names.push_back(option.name);
    }
    return names;
}

std::vector<std::string> idsOf(const CommandRow& row) {
    std::vector<std::string> ids;
    for (const ScriptParameter& parameter :
         row.script == nullptr ? std::vector<ScriptParameter>() : row.script->parameters) {
        ids.push_back(std::string(parameter.id) + "=");
    }
    return ids;
}

/// The names of the common options that take a value, as the alternatives of a pattern.
std::string optionsWithValue(const char* value) {
    std::string text;
    for (const OptionRow& option : commonOptions()) {
        if (!option.value.empty() && (*value == '\0' || option.value == value)) {
            text += (text.empty() ? "" : "|") + option.name;
        }
    }
    return text;
}

/// "NAME) variable='words' ;;" for each command, with the words that `wordsOfRow` gives.
template <class WordsOfRow>
std::string cases(const char* variable, const WordsOfRow& wordsOfRow) {
    std::string text;
    for (const CommandRow& row : commandTable()) {
        const std::string words = spaced(wordsOfRow(row));
        text += words.empty() ? "" : "    " + row.name + ") " + variable + "='" + words + "' ;;\n";
    }
    return text;
}

std::string valueCases() {
    std::string text;
    for (const CommandRow& row : commandTable()) {
        for (const ScriptParameter& parameter :
             row.script == nullptr ? std::vector<ScriptParameter>() : row.script->parameters) {
            text += "    " + row.name + "." + parameter.id + ") values='" + spaced(valuesOf(parameter)) + "' ;;\n";
        }
    }
    return text;
}

/// What bash and zsh share: from the words before the one to complete, the command and what it takes.
std::string tables() {
    return "_p11host_tables() { # COMMAND ID\n"
           "  commands='" +
           spaced(commandNames()) + "' options='" + spaced(namesOf(commonOptions())) +
           "' own='' ids='' values=''\n  case $1 in\n" +
           cases("own", [](const CommandRow& row) { return namesOf(row.options); }) + "  esac\n  case $1 in\n" +
           cases("ids", idsOf) + "  esac\n  case $1.$2 in\n" + valueCases() + "  esac\n}\n";
}

/// The loop that finds the command among `$words` before index `$last`.
std::string findCommandLoop(const char* first) {
    return std::string("  command='' skip=''\n  for ((i = ") + first +
           "; i < last; i++)); do\n    if [[ -n $skip ]]; then skip=''; continue; fi\n    case ${words[i]} in\n      " +
           optionsWithValue("") +
           ") skip=1 ;;\n      -*) ;;\n      *) command=${words[i]}; break ;;\n    esac\n  done\n";
}

} // namespace

std::string bashCompletion() {
    return "# Completion of p11host for bash.\n" + tables() +
           "_p11host() {\n"
           "  local commands options own ids values command skip i id='' current=$2 before=$3\n"
           "  local -a words=(\"${COMP_WORDS[@]}\")\n"
           "  local last=$COMP_CWORD\n" +
           findCommandLoop("1") +
           "  # The shell may take a word apart at \"=\".\n"
           "  if [[ $current == = ]]; then id=$before current=''\n"
           "  elif [[ $before == = ]]; then id=${words[last - 2]}\n"
           "  elif [[ $current == *=* ]]; then id=${current%%=*} current=${current#*=}; fi\n"
           "  _p11host_tables \"$command\" \"$id\"\n"
           "  COMPREPLY=()\n"
           "  case $before in\n    " +
           optionsWithValue("FILE") + ") mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); return ;;\n    " +
           optionsWithValue("TEXT") + "|" + optionsWithValue("MASK") +
           ") return ;;\n  esac\n"
           "  if [[ $current == -* ]]; then mapfile -t COMPREPLY < <(compgen -W \"$options $own\" -- \"$current\")\n"
           "  elif [[ -n $id ]]; then mapfile -t COMPREPLY < <(compgen -W \"$values\" -- \"$current\")\n"
           "  elif [[ -z $command || $command == help ]]; then mapfile -t COMPREPLY < <(compgen -W \"$commands\" -- "
           "\"$current\")\n"
           "  elif [[ $command == run ]]; then mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "  else mapfile -t COMPREPLY < <(compgen -W \"$ids\" -- \"$current\"); fi\n"
           "  [[ ${COMPREPLY[0]-} != *[=:] ]] || compopt -o nospace 2>/dev/null\n"
           "}\ncomplete -F _p11host p11host\n";
}

std::string zshCompletion() {
    return "#compdef p11host\n# Completion of p11host for zsh.\n" + tables() +
           "_p11host() {\n"
           "  local commands options own ids values command skip i id='' last=$CURRENT before=${words[CURRENT-1]}\n" +
           findCommandLoop("2") +
           "  [[ $PREFIX == *=* ]] && id=${PREFIX%%=*}\n"
           "  _p11host_tables \"$command\" \"$id\"\n"
           "  case $before in\n    " +
           optionsWithValue("FILE") + ") _files; return ;;\n    " + optionsWithValue("TEXT") + "|" +
           optionsWithValue("MASK") +
           ") return 1 ;;\n  esac\n"
           "  if [[ $PREFIX == -* ]]; then compadd -- ${=options} ${=own}\n"
           "  elif [[ -n $id ]]; then compset -P '*='; compadd -S '' -- ${=values}\n"
           "  elif [[ -z $command || $command == help ]]; then compadd -- ${=commands}\n"
           "  elif [[ $command == run ]]; then _files\n"
           "  else compadd -S '' -- ${=ids}; fi\n"
           "}\n[[ ${funcstack[1]} != _p11host ]] || _p11host \"$@\"\n";
}

std::string fishCompletion() {
    std::string text = "# Completion of p11host for fish.\ncomplete -c p11host -f\n";
    const auto option = [&](const OptionRow& row, const std::string& condition) {
        text += "complete -c p11host" + condition + " -l " + row.name.substr(2) +
                (row.value.empty() ? "" : (row.value == "FILE" ? " -r -F" : " -x")) + " -d '" + row.help + "'\n";
    };
    for (const OptionRow& row : commonOptions()) {
        option(row, "");
    }
    for (const CommandRow& row : commandTable()) {
        const std::string seen = " -n '__fish_seen_subcommand_from " + row.name + "'";
        text += "complete -c p11host -n __fish_use_subcommand -a " + row.name + " -d \"" + row.summary + "\"\n";
        for (const OptionRow& own : row.options) {
            option(own, seen);
        }
        for (const ScriptParameter& parameter :
             row.script == nullptr ? std::vector<ScriptParameter>() : row.script->parameters) {
            for (const std::string& value : valuesOf(parameter)) {
                text += "complete -c p11host" + seen + " -a '" + parameter.id + "=" + value + "'\n";
            }
        }
    }
    return text +
           "complete -c p11host -n '__fish_seen_subcommand_from run' -F\n"
           "complete -c p11host -n '__fish_seen_subcommand_from help' -a '" +
           spaced(commandNames()) + "'\n";
}

} // namespace host
