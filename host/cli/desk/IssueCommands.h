#pragma once

#include "host/cli/Options.h"
#include "host/plugin/ExitStatus.h"
#include "host/plugin/Output.h"

// What `p11host issue` does, by its first argument.

namespace host {

/// Issues cards by a plan, or with --dry-run says what it would do.
[[nodiscard]] ExitStatus issueCards(const Options& options, const Output& output);

[[nodiscard]] ExitStatus showDesk(const Options& options, const Output& output);
[[nodiscard]] ExitStatus retryFailedRows(const Options& options, const Output& output);
[[nodiscard]] ExitStatus redoRow(const Options& options, const Output& output);
[[nodiscard]] ExitStatus dropRow(const Options& options, const Output& output);
[[nodiscard]] ExitStatus exportDesk(const Options& options, const Output& output);
[[nodiscard]] ExitStatus reportOnDesk(const Options& options, const Output& output);

} // namespace host
