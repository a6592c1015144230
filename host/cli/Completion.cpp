#include "host/cli/CompletionTable.h"
#include "host/cli/Pages.h"

namespace host {

namespace {

std::vector<std::string> namesOf(const std::vector<OptionRow>& options) {
    std::vector<std::string> names;
    for (const OptionRow& option : options) {
        names.push_back(option.name);
    }
    return names;
}

std::vector<std::string> idsOf(const CommandRow& row) {
    std::vector<std::string> ids;
    for (const ScriptParameter& parameter : parametersOf(row)) {
        ids.push_back(std::string(parameter.id) + "=");
    }
    return ids;
}

/// "NAME) variable='words' ;;" for each command that `wordsOfRow` gives words for.
template <class WordsOfRow>
std::string cases(const char* variable, const WordsOfRow& wordsOfRow) {
    std::string text = "  case $1 in\n";
    for (const CommandRow& row : commandTable()) {
        const std::string words = spaced(wordsOfRow(row));
        text += words.empty() ? "" : "    " + row.name + ") " + variable + "='" + words + "' ;;\n";
    }
    return text + "  esac\n";
}

std::vector<std::string> filesOf(const CommandRow& row) {
    return takesFiles(row) ? std::vector<std::string>{"1"} : std::vector<std::string>();
}

/// What may follow each ID of each script.
std::string parameterCases() {
    std::string text = "  case $1.$2 in\n";
    for (const CommandRow& row : commandTable()) {
        for (const ScriptParameter& parameter : parametersOf(row)) {
            text += "    " + row.name + "." + parameter.id + "=) values='" + spaced(valuesOf(parameter)) + "' ;;\n";
        }
    }
    return text + "  esac\n";
}

/// What may follow each option.
std::string optionCases() {
    std::string text = "  case $2 in\n";
    for (const OptionRow& option : valueOptions()) {
        const Offer offer = offerOf(option);
        const char* variable = offer.kind == OfferKind::Words ? "values" : "query";
        const bool hasWords = offer.kind == OfferKind::Words || offer.kind == OfferKind::Query;
        text += "    " + option.name + ") value=1";
        text += hasWords ? std::string(" ") + variable + "='" + spaced(offer.words) + "'" : "";
        text += offer.kind == OfferKind::Files ? " files=1 ;;\n" : " ;;\n";
    }
    return text + "  esac\n";
}

/// What bash and zsh share: what a command takes, and what may follow an option or an ID.
std::string tables() {
    return "_p11host_tables() { # COMMAND OPTION-OR-ID=\n"
           "  names='" +
           commandNames() + "' common='" + spaced(namesOf(commonOptions())) +
           "'\n  own='' ids='' values='' value='' query='' files=''\n" + parameterCases() + optionCases() +
           "  [[ -z $2 ]] || return 0\n" + cases("own", [](const CommandRow& row) { return namesOf(row.options); }) +
           cases("ids", idsOf) + cases("files", filesOf) + "}\n";
}

/// Walks over the words `$typed` before the one to complete: finds the command and collects what chooses the token.
std::string walk(const char* first, const char* last) {
    return std::string("  for ((i = ") + first + "; i " + last +
           "; i++)); do\n"
           "    word=${typed[i]}\n"
           "    if [[ -n $before ]]; then\n"
           "      chosen+=(\"$before\" \"$word\") before=''\n"
           "      continue\n"
           "    fi\n"
           "    case $word in\n"
           "      --*=*) chosen+=(\"${word%%=*}\" \"${word#*=}\") ;;\n"
           "      -*) _p11host_tables '' \"$word\"; [[ -z $value ]] || before=$word ;;\n"
           "      *) [[ -n $command ]] || command=$word ;;\n"
           "    esac\n"
           "  done\n";
}

/// Asks the program, which answers from the module that the words before name. It never logs in.
constexpr const char* kAsk = "_p11host_ask() { # PROGRAM QUERY OPTION VALUE...\n"
                             "  local program=$1 query=$2\n"
                             "  local -a choice=()\n"
                             "  shift 2\n"
                             "  while (($# > 1)); do\n"
                             "    case $1 in\n"
                             "      --plugin|--module|--reader-prefix|--reader|--token|--serial|--uri) "
                             "choice+=(\"$1\" \"$2\") ;;\n"
                             "    esac\n"
                             "    shift 2\n"
                             "  done\n"
                             "  \"$program\" complete \"$query\" \"${choice[@]}\" 2>/dev/null </dev/null\n"
                             "}\n";

/// A text in fish's single quotes.
std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') {
            result += '\\';
        }
        result += c;
    }
    return result + "'";
}

std::string fishValue(const OptionRow& option) {
    const Offer offer = offerOf(option);
    if (option.value.empty()) {
        return "";
    }
    if (offer.kind == OfferKind::Files) {
        return " -r -F";
    }
    if (offer.kind == OfferKind::Nothing) {
        return " -x";
    }
    const bool isQuery = offer.kind == OfferKind::Query;
    return " -x -a " + quoted(isQuery ? "(__p11host_ask " + offer.words.front() + ")" : spaced(offer.words));
}

std::string fishOption(const OptionRow& row, const std::string& condition) {
    return "complete -c p11host" + condition + " -l " + row.name.substr(2) + fishValue(row) + " -d " +
           quoted(row.help) + "\n";
}

/// Finds the command on the line, as fish's own function does that does not know which options take a value.
std::string fishIs() {
    return "function __p11host_is # COMMAND, or '' where none is on the line yet\n"
           "  set -l words (commandline -opc)\n"
           "  set -l i 2\n"
           "  while test $i -le (count $words)\n"
           "    switch $words[$i]\n"
           "      case " +
           spaced(namesOf(valueOptions())) +
           "\n"
           "        set i (math $i + 1)\n"
           "      case '-*'\n"
           "      case '*'\n"
           "        test \"$words[$i]\" = \"$argv[1]\"\n"
           "        return\n"
           "    end\n"
           "    set i (math $i + 1)\n"
           "  end\n"
           "  test -z \"$argv[1]\"\n"
           "end\n";
}

std::string fishCommand(const CommandRow& row) {
    const std::string seen = " -n '__p11host_is " + row.name + "'";
    std::string text =
        "complete -c p11host -n '__p11host_is \"\"' -a " + row.name + " -d " + quoted(row.summary) + "\n";
    for (const OptionRow& own : row.options) {
        text += fishOption(own, seen);
    }
    for (const ScriptParameter& parameter : parametersOf(row)) {
        for (const std::string& value : valuesOf(parameter)) {
            text += "complete -c p11host" + seen + " -a " + quoted(std::string(parameter.id) + "=" + value) + "\n";
        }
    }
    return takesFiles(row) ? text + "complete -c p11host" + seen + " -F\n" : text;
}

constexpr const char* kFishAsk = "function __p11host_ask\n"
                                 "  set -l words (commandline -opc)\n"
                                 "  set -l choice\n"
                                 "  set -l i 2\n"
                                 "  while test $i -le (count $words)\n"
                                 "    set -l pair (string split -m 1 = -- $words[$i])\n"
                                 "    switch $pair[1]\n"
                                 "      case --plugin --module --reader-prefix --reader --token --serial --uri\n"
                                 "        if set -q pair[2]\n"
                                 "          set -a choice $pair\n"
                                 "        else if test $i -lt (count $words)\n"
                                 "          set i (math $i + 1)\n"
                                 "          set -a choice $pair[1] $words[$i]\n"
                                 "        end\n"
                                 "    end\n"
                                 "    set i (math $i + 1)\n"
                                 "  end\n"
                                 "  $words[1] complete $argv[1] $choice 2>/dev/null </dev/null\n"
                                 "end\n";

} // namespace

std::string bashCompletion() {
    return "# Completion of p11host for bash.\n" + tables() + kAsk +
           "_p11host() {\n"
           "  local names common own ids values value query files command='' before='' current id='' i word\n"
           "  local -a typed=() chosen=() found=()\n"
           "  # The shell takes words apart at \"=\" and \":\", so the line is read anew; xargs knows quotes.\n"
           "  local line=${COMP_LINE:0:COMP_POINT} text=''\n"
           "  local head=${line% *}\n"
           "  until text=$(xargs -n 1 printf '%s\\n' <<<\"$head\" 2>/dev/null) || [[ $head != *' '* ]]; do "
           "head=${head% *}; done\n"
           "  mapfile -t typed <<<\"$text\"\n"
           "  current=${line#\"$head \"}\n"
           "  current=${current//[\\\"\\'\\\\]/}\n" +
           walk("1", "< ${#typed[@]}") +
           "  case $current in\n"
           "    --*=*) before=${current%%=*} ;;\n"
           "    [!-]*=*) [[ -n $before ]] || id=${current%%=*}= ;;\n"
           "  esac\n"
           "  _p11host_tables \"$command\" \"$before$id\"\n"
           "  case $current in --*=*) current=${current#*=} ;; esac\n"
           "  [[ -z $id ]] || current=${current#*=}\n"
           "  if [[ -n $query ]]; then\n"
           "    mapfile -t found < <(_p11host_ask \"$1\" \"$query\" \"${chosen[@]}\")\n"
           "    [[ $query == identifiers ]] || compopt -o filenames 2>/dev/null\n"
           "  elif [[ -n $before$id ]]; then\n"
           "    case $current in file:*|secret:*) files=1 current=${current#*:} ;; esac\n"
           "    found=($values)\n"
           "  elif [[ $current == -* ]]; then files='' found=($common $own)\n"
           "  elif [[ -z $command || $command == help ]]; then found=($names)\n"
           "  else found=($ids); fi\n"
           "  COMPREPLY=()\n"
           "  for word in \"${found[@]}\"; do\n"
           "    [[ $word == \"$current\" && $word == *: ]] && continue\n"
           "    [[ -z $word || ${word:0:${#current}} != \"$current\" ]] || COMPREPLY+=(\"$word\")\n"
           "  done\n"
           "  if [[ -n $files ]]; then\n"
           "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "    compopt -o filenames 2>/dev/null\n"
           "  fi\n"
           "  [[ ${COMPREPLY[0]-} != *[=:] ]] || compopt -o nospace 2>/dev/null\n"
           "}\n"
           "complete -F _p11host p11host\n";
}

std::string zshCompletion() {
    return "#compdef p11host\n# Completion of p11host for zsh.\n" + tables() + kAsk +
           "_p11host() {\n"
           "  local names common own ids values value query files command='' before='' id='' i word\n"
           "  local program=${(Q)words[1]}\n"
           "  local -a chosen=() found=() typed=(\"${(@Q)words}\")\n" +
           walk("2", "< CURRENT") +
           "  case $PREFIX in\n"
           "    --*=*) before=${PREFIX%%=*}; compset -P '*=' ;;\n"
           "    [!-]*=*) [[ -n $before ]] || { id=${PREFIX%%=*}=; compset -P '*=' } ;;\n"
           "  esac\n"
           "  _p11host_tables \"$command\" \"$before$id\"\n"
           "  if [[ -n $query ]]; then\n"
           "    found=(\"${(@f)$(_p11host_ask \"$program\" \"$query\" \"${chosen[@]}\")}\")\n"
           "    compadd -- \"${(@)found:#}\"\n"
           "  elif [[ -n $before$id && $PREFIX == (file|secret):* ]]; then compset -P '*:'; _files\n"
           "  elif [[ -n $before$id && -n $files ]]; then _files\n"
           "  elif [[ -n $before$id ]]; then\n"
           "    found=(${=values})\n"
           "    compadd -S '' -- ${(M)found:#*:}\n"
           "    compadd -- ${found:#*:}\n"
           "  elif [[ $PREFIX == -* ]]; then compadd -- ${=common} ${=own}\n"
           "  elif [[ -z $command || $command == help ]]; then compadd -- ${=names}\n"
           "  elif [[ -n $files ]]; then _files\n"
           "  else compadd -S '' -- ${=ids}; fi\n"
           "}\n"
           "[[ ${funcstack[1]} != _p11host ]] || _p11host \"$@\"\n";
}

std::string fishCompletion() {
    std::string text = "# Completion of p11host for fish.\n" + fishIs() + kFishAsk + "complete -c p11host -f\n";
    for (const OptionRow& row : commonOptions()) {
        text += fishOption(row, "");
    }
    for (const CommandRow& row : commandTable()) {
        text += fishCommand(row);
    }
    return text + "complete -c p11host -n '__p11host_is help' -a " + quoted(commandNames()) + "\n";
}

} // namespace host
