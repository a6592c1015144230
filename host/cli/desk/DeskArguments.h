#pragma once

#include <cstdint>
#include <string>

#include "host/cli/Options.h"

namespace host {

/// The value of --desk. UsageError without it.
[[nodiscard]] std::string requiredDesk(const Options& options);
/// The value of --row. UsageError for what is no number from 1 on, and without it.
[[nodiscard]] std::int64_t requiredRow(const Options& options);

} // namespace host
