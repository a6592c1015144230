#include "platform/Heap.h"

#include <malloc.h>

namespace platform {

std::size_t blockSize(void* block) noexcept {
    return ::malloc_usable_size(block);
}

} // namespace platform
