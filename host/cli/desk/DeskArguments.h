#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/cli/Options.h"
#include "host/desk/journal/Journal.h"
#include "host/plugin/Output.h"

namespace host {

/// The value of --desk. UsageError without it.
[[nodiscard]] std::string requiredDesk(const Options& options);
/// The desk that --desk names, with the password that --desk-password gives. `tell` receives sentences for a person
/// when its server goes away and comes back; without it they are messages. `output` has to outlive the desk. UsageError
/// for a password that cannot be had, and as Journal's.
[[nodiscard]] desk::Journal openDesk(const Options& options, const Output& output, desk::IfMissing ifMissing,
                                     std::function<void(const std::string& text)> tell = {});
/// The value of --row. UsageError for what is no number from 1 on, and without it.
[[nodiscard]] std::int64_t requiredRow(const Options& options);

} // namespace host
