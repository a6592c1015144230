#pragma once

#include "client/ScriptContext.h"

// How a script refuses its parameters: each function traces the fault at level 1 and returns client code 33004.

namespace plugin {

/// ": Bad parameter : pOpParams=NULL": the operation has no parameters.
[[nodiscard]] Result noParameters(const Trace& trace);
/// ": ID parameter not found".
[[nodiscard]] Result notFound(const Trace& trace, const Zel::TString& id);
/// ": Bad parameter ID: value". Not for secrets.
[[nodiscard]] Result badParameter(const Trace& trace, const Zel::TString& id, const Zel::TString& value);

} // namespace plugin
