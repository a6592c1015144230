#include "host/cli/Readers.h"

#include <algorithm>
#include <map>

#include "host/plugin/ClientCodes.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"
#include "host/scripts/Parameters.h"

namespace host {

namespace {

constexpr std::size_t kLongestDescription = 64;
constexpr const char* kSlash = "2F";

std::string valueOf(const ParameterList& answer, const char* id) {
    const Zel::Parameter* output = findOutput(answer, id);
    return output == nullptr ? "" : toUtf8(output->getValue());
}

/// `kind` is how `name` is given: "text", or "hex".
ScriptAnswer choose(Session& session, const char* kind, const std::string& name) {
    ParameterList wanted;
    wanted.add(makeParameter("READERNAME", kind, name));
    return session.run("getPlatformIdentifiers", std::move(wanted));
}

/// The pieces between slashes; a slash stands at an even position, for two digits are a byte.
std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> pieces(1);
    for (std::size_t i = 0; i < list.size(); i += 2) {
        const std::string byte = list.substr(i, 2);
        if (byte == kSlash) {
            pieces.emplace_back();
        } else {
            pieces.back() += byte;
        }
    }
    return pieces;
}

Reader describe(const std::string& name, const std::string& prefix) {
    Reader reader;
    reader.name = name;
    const std::string hexPrefix = toUtf8(toHexadecimal(prefix));
    const bool hasPrefix = !prefix.empty() && name.compare(0, hexPrefix.size(), hexPrefix) == 0;
    reader.description = readableHexadecimal(hasPrefix ? name.substr(hexPrefix.size()) : name);
    return reader;
}

/// Asks for the longest name first and drops it while the plug-in does not know it. The shortest name is described in
/// any case, unless it is empty: the list never holds an empty name.
Reader longestKnown(std::vector<std::string>& names, const std::string& prefix, const AskReader& ask) {
    for (;;) {
        if (names.back().empty()) {
            return {};
        }
        if (names.size() == 1 || errorOf(ask(names.back())) != kNoSuchSlot) {
            return describe(names.back(), prefix);
        }
        names.pop_back();
    }
}

/// Numbers readers of one name.
void markTwins(std::vector<Reader>& readers) {
    std::map<std::string, std::size_t> counts;
    for (const Reader& reader : readers) {
        ++counts[reader.name];
    }
    std::map<std::string, std::size_t> seen;
    for (Reader& reader : readers) {
        if (counts[reader.name] < 2) {
            continue;
        }
        reader.number = ++seen[reader.name];
        reader.description.append("#").append(std::to_string(reader.number));
    }
}

} // namespace

std::vector<Reader> readReaders(const std::string& list, const std::string& prefix, const AskReader& ask) {
    std::vector<Reader> readers;
    const std::vector<std::string> pieces = split(list);
    const std::size_t longest = 2 * (kLongestDescription + prefix.size());
    for (std::size_t first = 0; first < pieces.size() && !list.empty();) {
        std::vector<std::string> names = {pieces[first]};
        while (first + names.size() < pieces.size()) {
            std::string name = names.back() + kSlash + pieces[first + names.size()];
            if (name.size() > longest) {
                break;
            }
            names.push_back(std::move(name));
        }
        readers.push_back(longestKnown(names, prefix, ask));
        first += names.size();
    }
    readers.erase(std::remove_if(readers.begin(), readers.end(), [](const Reader& r) { return r.name.empty(); }),
                  readers.end());
    markTwins(readers);
    return readers;
}

std::optional<std::vector<Reader>> listReaders(Session& session, const std::string& prefix, ScriptAnswer& answer) {
    answer = session.run("getReaderList", std::nullopt);
    if (answer.status() != ExitStatus::Success) {
        return std::nullopt;
    }
    const AskReader ask = [&](const std::string& name) {
        const ScriptAnswer identity = choose(session, "hex", name);
        return identity.response ? ParameterList(identity.response->getResponseParameters()) : ParameterList();
    };
    return readReaders(valueOf(answer.response->getResponseParameters(), "READERS"), prefix, ask);
}

ScriptAnswer chooseReader(Session& session, const std::string& description, const std::string& prefix) {
    ScriptAnswer answer = choose(session, "text", description);
    const bool isKnown = !answer.response || errorOf(answer.response->getResponseParameters()) != kNoSuchSlot;
    if (isKnown) {
        return answer;
    }
    // The description may differ from the name: the name is not text, or several readers have it.
    ScriptAnswer unlisted;
    const std::optional<std::vector<Reader>> readers = listReaders(session, prefix, unlisted);
    for (const Reader& reader : readers.value_or(std::vector<Reader>())) {
        if (reader.description == description && reader.number > 1) {
            throw UsageError(std::string("reader \"")
                                 .append(description)
                                 .append("\" cannot be chosen: the plug-in finds readers by their names, and this one "
                                         "has the name of another; only the first can be used. Unplug the other one, "
                                         "or have its name changed"));
        }
        if (reader.description == description) {
            return choose(session, "hex", reader.name);
        }
    }
    return answer;
}

} // namespace host
