#pragma once

#include "client/ScriptContext.h"

// The ways in which a script refuses its parameters: each tells what is wrong at level 1 and is client code 33004.

namespace scripts {

/// ": Bad parameter : pOpParams=NULL": the operation came without any parameters.
[[nodiscard]] Result noParameters(const Trace& trace);
/// ": ID parameter not found".
[[nodiscard]] Result notFound(const Trace& trace, const Zel::TString& id);
/// ": Bad parameter ID: value". Not for secrets.
[[nodiscard]] Result badParameter(const Trace& trace, const Zel::TString& id, const Zel::TString& value);

} // namespace scripts
