#pragma once

#include <string>

#include "host/desk/journal/DeskRecord.h"

namespace host::view {

/// The report of a desk as a page: HTML with its style and its picture, which needs nothing else, may load nothing and
/// runs no script. A table shows its first 1000 rows and says how many more there are.
[[nodiscard]] std::string reportPageOf(const desk::DeskRecord& record);

} // namespace host::view
