#pragma once

#include <span>

#include "client/ScriptContext.h"

namespace plugin {

/// All scripts, in the order in which getSupportedScripts lists them.
[[nodiscard]] std::span<const ScriptEntry> scriptTable();

} // namespace plugin
