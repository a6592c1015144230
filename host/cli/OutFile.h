#pragma once

#include <optional>
#include <string>
#include <vector>

namespace host {

/// Refuses a file (UTF-8 name) for the result of a command before the command does anything. UsageError when it is one
/// of the files that the command reads, or cannot be written. What is in it does not change.
void checkOutFile(const std::string& file, const std::vector<std::string>& inputs);

/// Puts a result into the file at once: it has the old content or the new one, and nobody but its owner can read it.
/// A pipe or a device is written as it is. Returns why that fails; the file is then as it was. nullopt on success.
[[nodiscard]] std::optional<std::string> replaceFile(const std::string& file, const std::string& bytes);

} // namespace host
