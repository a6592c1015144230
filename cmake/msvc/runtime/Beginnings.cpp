#include "Beginnings.h"

#include <corecrt_startup.h>

// The linker sorts the pieces of a section by what follows "$": the compiler's entries stand between A and Z.
#pragma section(".CRT$XIA", long, read)
#pragma section(".CRT$XIZ", long, read)
#pragma section(".CRT$XCA", long, read)
#pragma section(".CRT$XCZ", long, read)

extern "C" {
__declspec(allocate(".CRT$XIA")) _PIFV __xi_a[] = {nullptr};
__declspec(allocate(".CRT$XIZ")) _PIFV __xi_z[] = {nullptr};
__declspec(allocate(".CRT$XCA")) _PVFV __xc_a[] = {nullptr};
__declspec(allocate(".CRT$XCZ")) _PVFV __xc_z[] = {nullptr};
}

bool runInitialisers() {
    for (_PIFV* initialiser = __xi_a; initialiser != __xi_z; ++initialiser) {
        if (*initialiser != nullptr && (*initialiser)() != 0) {
            return false;
        }
    }
    for (_PVFV* initialiser = __xc_a; initialiser != __xc_z; ++initialiser) {
        if (*initialiser != nullptr) {
            (*initialiser)();
        }
    }
    return true;
}
