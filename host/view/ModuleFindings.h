#pragma once

#include <cstdint>
#include <string>

#include "host/view/Examination.h"
#include "host/view/Findings.h"

namespace host {

/// What is wrong with the module itself: its file, the libraries that it needs, its function list, the layout of its
/// structures, calls that failed, a hang, a crash. Returns true when the module came so far that it lists its readers.
bool addModuleFindings(const Examination& examination, Findings& findings);

} // namespace host
