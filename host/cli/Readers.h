#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/plugin/Answers.h"
#include "host/scripts/Session.h"

namespace host {

/// A reader as the plug-in lists it.
struct Reader {
    std::string name;        ///< hexadecimal text as the plug-in listed it, prefix and all
    std::string description; ///< readable, without the prefix; "#2" behind the second of one name
    std::size_t number = 0;  ///< among several readers of one name, from 1; 0: no other has this name
};

/// Asks one reader, named by hexadecimal text, for its token's identity: the answer of "getPlatformIdentifiers".
using AskReader = std::function<ParameterList(const std::string& name)>;

/// Splits the list of "getReaderList". Names are joined by the hexadecimal text of a slash, which may occur in a name
/// too, so that a list can be split in several ways; the longest names that the plug-in knows are taken. A description
/// has 64 bytes at most, which bounds the search. `prefix` is the reader prefix as text. The plug-in knows readers by
/// name alone: of several readers with one name only the first can be chosen.
[[nodiscard]] std::vector<Reader> readReaders(const std::string& list, const std::string& prefix, const AskReader& ask);

/// All readers of the module; nullopt when they cannot be listed, with the reason in `answer`.
[[nodiscard]] std::optional<std::vector<Reader>> listReaders(Session& session, const std::string& prefix,
                                                             ScriptAnswer& answer);
/// Chooses a reader by its description as `readers` shows it, and returns the plug-in's answer. UsageError for a reader
/// that cannot be chosen because another one has its name.
[[nodiscard]] ScriptAnswer chooseReader(Session& session, const std::string& description, const std::string& prefix);

} // namespace host
