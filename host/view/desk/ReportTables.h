#pragma once

#include <string>

#include "host/desk/journal/DeskRecord.h"

// The sections of a desk's report, each with its heading. A section without rows is empty.

namespace host::view {

/// Rows of the list that have failed, with the reason and what to do.
[[nodiscard]] std::string failureSection(const desk::DeskRecord& record);
/// Cards that were begun and are not in anybody's hands: failed, interrupted, rolled back, replaced.
[[nodiscard]] std::string givenUpSection(const desk::DeskRecord& record);
/// Certificates that somebody has to revoke, or a sentence that nothing has to be revoked.
[[nodiscard]] std::string revocationSection(const desk::DeskRecord& record);
/// What each step took.
[[nodiscard]] std::string stepSection(const desk::DeskRecord& record);

} // namespace host::view
