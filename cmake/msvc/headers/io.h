#pragma once
#include_next <io.h>

// Names of operations of the standard library.
#undef open
#undef sopen
