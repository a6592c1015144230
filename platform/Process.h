#pragma once

#include <optional>
#include <string>
#include <vector>

#include "text/Wiped.h"

namespace platform {

/// The program's arguments as UTF-8, without the program's name. `argc` and `argv` are main's; Windows asks the system
/// instead, because main's texts are limited to a code page.
[[nodiscard]] std::vector<std::string> commandLineArguments(int argc, char** argv);

/// The value of an environment variable as UTF-8, which may be a secret. nullopt when the variable is not set, and on
/// Linux in a process with more rights than its user has (set-user-ID, file capabilities): an ordinary user must not
/// choose the files that it loads or writes. Throws std::bad_alloc.
[[nodiscard]] std::optional<WipedBytes> environmentVariable(const char* name);

/// The same for a variable that is no secret; empty when it is not set. Throws std::bad_alloc.
[[nodiscard]] std::string environmentText(const char* name);

/// Sets an environment variable (UTF-8) for this process and the programs that it starts.
void setEnvironmentVariable(const char* name, const std::string& value);

/// Overwrites the value of an environment variable, in every copy that the runtime keeps, and removes it.
void removeEnvironmentVariable(const char* name) noexcept;

/// Full path of the running program as UTF-8; empty when unknown.
[[nodiscard]] std::string executablePath();

/// From now on core dumps and error reports leave out this process's memory, and on Linux other processes of the same
/// user may not read it. What the system does not allow is left as it is.
void keepMemoryPrivate() noexcept;

/// From now on writing to a pipe that nobody reads, or past the largest size that the user allows a file, fails instead
/// of ending the process.
void ignoreBrokenPipes() noexcept;

} // namespace platform
