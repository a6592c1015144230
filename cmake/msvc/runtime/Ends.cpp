// The C library's declaration would import it.
#define atexit atexit_of_the_library
#include <corecrt_startup.h>
#include <stdlib.h>
#undef atexit

#include "Ends.h"

namespace {

bool g_keptHere = false;
_onexit_table_t g_ends;

} // namespace

void keepOwnEnds() {
    _initialize_onexit_table(&g_ends);
    g_keptHere = true;
}

void runOwnEnds() {
    _execute_onexit_table(&g_ends);
}

extern "C" int __cdecl atexit(_PVFV end) {
    return g_keptHere ? _register_onexit_function(&g_ends, reinterpret_cast<_onexit_t>(end)) : _crt_atexit(end);
}

// Where code compiled with the C library's declaration looks for it.
extern "C" decltype(&atexit) const __imp_atexit = &atexit;
