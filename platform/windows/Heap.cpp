#include "platform/Heap.h"

#include <malloc.h>

namespace platform {

std::size_t blockSize(void* block) noexcept {
    return _msize(block);
}

} // namespace platform
