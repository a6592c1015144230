// What the vendor's library takes from another one.
#include "zel/Export.h"

extern "C" ZEL_EXPORT int neededAnswer() {
    return 42;
}
