#pragma once

#include "client/ScriptContext.h"

// The ways in which a script refuses its parameters: each logs the fault at level 1 and gives client code 33004.

namespace plugin {

/// ": Bad parameter : pOpParams=NULL": the operation came without any parameters.
[[nodiscard]] Result noParameters(const Trace& trace);
/// ": ID parameter not found".
[[nodiscard]] Result notFound(const Trace& trace, const Zel::TString& id);
/// ": Bad parameter ID: value". Not for secrets.
[[nodiscard]] Result badParameter(const Trace& trace, const Zel::TString& id, const Zel::TString& value);

} // namespace plugin
