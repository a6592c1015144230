#pragma once

#include "client/Script.h"

// What "writeData" hands its operation to, by the kind of object. Each returns what "ERROR" is to say.

namespace scripts {

[[nodiscard]] Result writeCertificate(Script& script);
[[nodiscard]] Result writeKey(Script& script, bool isKeyPair);
[[nodiscard]] Result writeContainerName(Script& script);

} // namespace scripts
