#pragma once

#include "client/ScriptContext.h"

// What "writeData" hands its operation to, by the kind of object. Each returns what "ERROR" is to say.

namespace plugin {

[[nodiscard]] Result writeCertificate(ScriptContext& script);
[[nodiscard]] Result writeKey(ScriptContext& script, bool isKeyPair);
[[nodiscard]] Result writeContainerName(ScriptContext& script);

} // namespace plugin
