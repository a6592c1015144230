#pragma once

#include "tests/host/Child.h"

namespace tests {

/// Runs the program in place of this process, a child that was forked for it. Ends with status 127 when it cannot.
[[noreturn]] void become(const Words& arguments, const Environment& environment);

} // namespace tests
