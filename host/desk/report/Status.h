#pragma once

#include <string>

#include "host/desk/journal/DeskRecord.h"

namespace host::desk {

/// Where a desk stands, as `issue status --json` answers: {"plan":…,"total":…,"waiting":…,"cards":[…],"revoke":[…]},
/// one line. Dropped rows do not count in "total".
[[nodiscard]] std::string statusJson(const DeskRecord& record);

} // namespace host::desk
