#pragma once

#include <string>

#include "host/view/CallReport.h"

namespace host {

/// Loads the module with this UTF-8 file name and reports what it says of itself, its slots and its tokens. Nothing
/// that writes to a token, logs in or sends a PIN is called. The module may hang or end the process in any step: run it
/// in a process of its own and read the report from outside.
///
/// Facts in their order, each only where the examination comes so far: `file`, `library`, `missing`, `loadError`,
/// `functions`, `interfaces`, `layout`, `info`, `slot` (one for each) and `ended`.
void examineModule(const std::string& module, const CallReport& report);

} // namespace host
