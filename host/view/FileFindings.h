#pragma once

#include <string>

#include "host/view/Findings.h"

namespace host {

/// Who else may change the module's file or its folder, and whether this user can read the configuration that a module
/// with this file name needs. `file` is UTF-8; a bare name gives nothing.
void addFileFindings(const std::string& file, Findings& findings);

} // namespace host
