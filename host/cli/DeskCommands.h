#pragma once

#include <vector>

#include "host/cli/CommandTable.h"
#include "host/cli/Options.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/Output.h"

namespace host {

/// A command of the issuing desk.
struct DeskCommand {
    CommandRow row;
    ExitStatus (*run)(const Options& options, const Output& output);
};

/// Empty in a build without the desk.
[[nodiscard]] std::vector<DeskCommand> deskCommands();

} // namespace host
