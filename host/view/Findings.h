#pragma once

#include <string>
#include <vector>

#include "host/plugin/Answers.h"

namespace host {

/// How bad a finding is. A fault keeps the module or a token from working; a warning may do so.
enum class Level { Note, Warning, Fault };

struct Finding {
    Level level;
    std::string text;
    std::string remedy; ///< what a person can do; may be empty
};
using Findings = std::vector<Finding>;

/// "fault", "warning", "note"
[[nodiscard]] const char* nameOf(Level level);
[[nodiscard]] Json findingsJson(const Findings& findings);
/// Puts findings before those that the report has in "findings".
void putFirst(const Findings& findings, Json& report);

} // namespace host
