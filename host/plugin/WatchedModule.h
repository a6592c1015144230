#pragma once

#include <string>

namespace host {

/// From now on the calls of the module are recorded in `file` (UTF-8): p11watch is loaded in its place. PluginError
/// when p11watch is not beside the executable or in ../lib.
void watchModule(const std::string& file);

/// The library to load for the module with this name, as `libraryFile` gives it: the module itself, or p11watch in
/// front of it. UsageError for a second module in one process that is watched, where p11watch stands in front of the
/// first.
[[nodiscard]] std::string moduleToLoad(const std::string& module);

} // namespace host
