#pragma once

#include "client/ScriptContext.h"

// What "readData" hands its operation to, by the kind of object. Each appends its outputs and returns what "ERROR" is
// to say. There are parameters.

namespace plugin {

[[nodiscard]] Result readCertificate(ScriptContext& script);
[[nodiscard]] Result readKey(ScriptContext& script);

} // namespace plugin
