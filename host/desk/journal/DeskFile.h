#pragma once

#include <filesystem>

#include "host/desk/journal/Journal.h"

namespace host::desk {

/// Looks at the file of a desk before SQLite does, which takes an empty file for a new database and an overwritten log
/// for an old one. UsageError for a folder, for an empty file that is to be read or that stations have worked with, and
/// for a log that another program has overwritten. Writes nothing.
void checkDeskFile(const std::filesystem::path& file, IfMissing ifMissing);

/// The file that SQLite keeps beside a desk, by its suffix ("-wal").
[[nodiscard]] std::filesystem::path besideDesk(const std::filesystem::path& file, const char* suffix);

} // namespace host::desk
