#pragma once

#include <string>
#include <vector>

namespace host {

/// A library that another one names and the loader does not find, or cannot load.
struct MissingLibrary {
    std::string name;
    std::string neededBy; ///< the file that names it
    std::string reason;   ///< what the loader says
};

/// Asks the loader for each library that the file names, and for those that a library beside it or in its own folders
/// names in turn. Loading runs a library's own code: call it where a crash does no harm.
[[nodiscard]] std::vector<MissingLibrary> missingLibraries(const std::string& file);

} // namespace host
