#include "platform/Fork.h"

#include <pthread.h>

namespace platform {

bool aroundFork(void (*before)(), void (*after)()) noexcept {
    return ::pthread_atfork(before, after, after) == 0;
}

} // namespace platform
