#pragma once

// The compiler's own, and not the header's way around a compiler that has none.
#define USE_COMPILER_EXCEPTIONS
#include_next <excpt.h>
