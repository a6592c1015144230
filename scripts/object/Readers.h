#pragma once

#include "client/Script.h"

// What "readData" hands its operation to, by the kind of object. Each appends its outputs and returns what "ERROR" is
// to say.

namespace scripts {

[[nodiscard]] Result readCertificate(Script& script);
[[nodiscard]] Result readKey(Script& script);

} // namespace scripts
