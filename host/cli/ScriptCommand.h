#pragma once

#include "host/cli/Options.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/Output.h"

namespace host {

/// Runs the script that the command names, on the reader that is chosen, and answers with what it gave. UsageError for
/// parameters that do not fit, RefusedError when a person does not want the removal, PluginError without a plug-in;
/// Interrupted when a signal came.
[[nodiscard]] ExitStatus runScript(const Options& options, const Output& output);

/// "info": what the plug-in says about itself. Exceptions as those of runScript.
[[nodiscard]] ExitStatus showInfo(const Options& options, const Output& output);

/// "scripts": all scripts, each with what it does.
[[nodiscard]] ExitStatus listScripts(const Options& options, const Output& output);

} // namespace host
