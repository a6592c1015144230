#pragma once

#include "host/cli/Options.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/Output.h"

namespace host {

/// "run": carries out a job, or checks it. A malformed file is answered and not begun; what comes through a pipe is
/// carried out as it comes. UsageError for a job that cannot be read, PluginError without a plug-in; Interrupted when a
/// signal came.
[[nodiscard]] ExitStatus runJob(const Options& options, const Output& output);

} // namespace host
