#pragma once

#include "client/ScriptContext.h"
#include "token/AttributeReading.h"
#include "token/ObjectSearch.h"

namespace plugin {

/// Reads one object that was found; `number` counts from 1. All objects of a response share one budget.
using ReadObject = CK_RV (*)(ScriptContext& script, const Trace& trace, CK_OBJECT_HANDLE hObject, std::uint32_t number,
                             AttributeBudget& budget);

/// Reads everything that matches, and appends "COUNT" before what `read` appends for each. After a failure the search
/// stays open and "COUNT" says "0"; when only its end fails, "COUNT" has the number.
[[nodiscard]] Result readObjects(ScriptContext& script, const Trace& trace, AttributeTemplate& searched,
                                 ReadObject read);

} // namespace plugin
