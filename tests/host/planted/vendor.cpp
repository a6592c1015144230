// A vendor's library that needs another one.
#include "zel/Export.h"

extern "C" int neededAnswer();

extern "C" ZEL_EXPORT int vendorAnswer() {
    return neededAnswer();
}
