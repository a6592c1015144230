#pragma once

#include <cstddef>
#include <string>

#include "host/plugin/Answers.h"

namespace host {

/// How much of a report a person gets: what matters on a terminal, or all of it.
enum class ReportDepth { Summary, Whole };

/// The report of a diagnosis for a person, `width` columns wide where words allow it.
[[nodiscard]] std::string doctorText(const Json& report, std::size_t width, ReportDepth depth);

} // namespace host
