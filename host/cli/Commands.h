#pragma once

#include <string>
#include <vector>

#include "host/plugin/ExitStatus.h"
#include "host/plugin/Output.h"

namespace host {

/// Carries out the command line `arguments` (UTF-8, without the program's name) and returns the exit status. Never
/// throws.
[[nodiscard]] ExitStatus runProgram(const std::vector<std::string>& arguments, const Output& output) noexcept;

} // namespace host
