#pragma once

#include <string>
#include <vector>

#include "host/view/Calls.h"

namespace host::view {

/// Where a process's clock went back, moves its later calls behind those before, so that they do not lie one over the
/// other. `calls` are in the order of the record. Adds a note for each process that this was done for.
void mendClocks(std::vector<Call>& calls, std::vector<std::string>& notes);

/// Notes the calls that have no line although later ones of their process have: they had not ended.
void noteMissing(const std::vector<Call>& calls, std::vector<std::string>& notes);

} // namespace host::view
