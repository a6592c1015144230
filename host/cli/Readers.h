#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/plugin/Answers.h"
#include "host/scripts/Parameters.h"

namespace host {

/// A reader and what its token answered.
struct Reader {
    std::string name;                 ///< hexadecimal text as the plug-in listed it, prefix and all
    std::string description;          ///< readable, without the prefix
    std::optional<unsigned int> code; ///< client code of the token's answer; nothing when it was none
    std::string label;                ///< readable, blanks at the end cut; empty without a token
    std::string serial;               ///< the same
};

/// Asks one reader, named by hexadecimal text, for its token's identity: the answer of "getPlatformIdentifiers".
using AskReader = std::function<ParameterList(const std::string& name)>;

/// Takes the list of "getReaderList" apart. Names are joined by the hexadecimal text of a slash, which may stand in a
/// name too, so that a list can be read in several ways; the reading taken is the one whose names the plug-in knows,
/// the longest first. A description has 64 bytes at most, which bounds the search. `prefix` is the reader prefix as
/// text.
[[nodiscard]] std::vector<Reader> readReaders(const std::string& list, const std::string& prefix, const AskReader& ask);

/// A table for a person.
[[nodiscard]] std::string readerTable(const std::vector<Reader>& readers);
/// {"readers":[{"reader":…,"name":…,"error":…,"label":…,"serial":…}…]}
[[nodiscard]] Json readersJson(const std::vector<Reader>& readers);

} // namespace host
