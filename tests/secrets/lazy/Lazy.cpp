#include "tests/secrets/lazy/Lazy.h"

#include <unistd.h>

int callAnotherLibrary() {
    return ::getppid();
}
