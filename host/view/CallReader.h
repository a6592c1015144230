#pragma once

#include <string>
#include <string_view>

#include "host/view/Calls.h"

namespace host::view {

/// Adds the calls of a record's text; `file` names it in errors and notes. Lines that were cut off are noted and left
/// out. UsageError for any other line that is no line of a record, with its number and what is wrong.
void addCalls(Calls& calls, std::string_view text, const std::string& file);

/// The files of the record with this UTF-8 name, in the order of time: "FILE.1", which a rotation leaves, if present,
/// and FILE.
[[nodiscard]] std::vector<std::string> filesOfRecord(const std::string& path);

/// The calls of all files of a record. UsageError as above, for a file that cannot be read and for an empty record.
[[nodiscard]] Calls readCalls(const std::string& path);

} // namespace host::view
