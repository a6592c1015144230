#pragma once

#include "host/view/Findings.h"

namespace host {

/// What is wrong with a slot and its token, the fact `slot` of Examiner.h: PINs that are locked or on their last try,
/// and what the token did not answer.
void addTokenFindings(const Json& slot, Findings& findings);

/// For each script whether it can work on the slot's token and, if not, why: a list of {"script", "works", "reasons"}.
/// `missing` are the functions that the module lacks. An empty slot counts as one whose token is in order.
[[nodiscard]] Json judgeScripts(const Json& missing, const Json& slot);

} // namespace host
