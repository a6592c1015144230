#pragma once

#include "client/ScriptContext.h"
#include "token/AttributeReading.h"
#include "token/ObjectSearch.h"

namespace plugin {

/// Reads one object that was found; `number` counts from 1. All objects of a response share one budget.
using ReadObject = CK_RV (*)(ScriptContext& script, const Trace& trace, CK_OBJECT_HANDLE hObject, std::uint32_t number,
                             AttributeBudget& budget);

/// Searches, appends "COUNT", and calls `read` for each object found. After a failure the search stays open and "COUNT"
/// is "0"; when only C_FindObjectsFinal fails, "COUNT" is the number of objects.
[[nodiscard]] Result readObjects(ScriptContext& script, const Trace& trace, AttributeTemplate& searched,
                                 ReadObject read);

} // namespace plugin
