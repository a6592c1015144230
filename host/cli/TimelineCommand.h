#pragma once

#include "host/cli/CommandTable.h"
#include "host/cli/Options.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/Output.h"

namespace host {

/// The row of "timeline" in the table of commands.
[[nodiscard]] CommandRow timelineCommand();

/// Shows a record of calls as a page, a picture or tables. UsageError for options that do not fit, and for a record or
/// a trace that cannot be read.
[[nodiscard]] ExitStatus runTimeline(const Options& options, const Output& output);

} // namespace host
