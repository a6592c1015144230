#pragma once

#include <vector>

#include "host/inspect/ModuleCalls.h"
#include "host/inspect/ObjectView.h"

namespace host {

/// Reads all objects on the token that the session sees. ModuleError when the search fails. What a module may answer is
/// bounded: 65,536 objects, 1 MiB an attribute, 256 MiB in all.
[[nodiscard]] std::vector<ObjectView> readObjects(const ModuleCalls& module, CK_SESSION_HANDLE session);

} // namespace host
