#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// The program's arguments as UTF-8, the program's own name left out. `argc` and `argv` are those of main; a system
/// that knows them better than main does is asked instead.
[[nodiscard]] std::vector<std::string> commandLineArguments(int argc, char** argv);

/// Copies the value of an environment variable as UTF-8, without terminator, into `target` of `room` bytes. Returns
/// its length, also when it does not fit (then nothing is written) or `target` is null; nothing when it is not set.
[[nodiscard]] std::optional<std::size_t> environmentVariable(const char* name, char* target, std::size_t room) noexcept;

/// Full path of the running program as UTF-8; empty when unknown.
[[nodiscard]] std::string executablePath();

/// From now on writing to a pipe that nobody reads fails instead of ending the process.
void ignoreBrokenPipes() noexcept;

} // namespace platform
