#pragma once

#include "client/ScriptContext.h"

// The writers behind "writeData", one for each kind of object. Each returns the result for "ERROR".

namespace plugin {

[[nodiscard]] Result writeCertificate(ScriptContext& script);
[[nodiscard]] Result writeKey(ScriptContext& script, bool isKeyPair);
[[nodiscard]] Result writeContainerName(ScriptContext& script);

} // namespace plugin
