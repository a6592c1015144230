#pragma once

#include "client/ScriptContext.h"

// The readers behind "readData", one for each kind of object. Each appends its outputs and returns the result for
// "ERROR". The operation has parameters.

namespace plugin {

[[nodiscard]] Result readCertificate(ScriptContext& script);
[[nodiscard]] Result readKey(ScriptContext& script);

} // namespace plugin
