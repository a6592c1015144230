#include "zel/Allocator.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#include "platform/SecureZero.h"

namespace Zel {
namespace {

/// Stands before each block, so that release knows how much there is to wipe.
struct alignas(std::max_align_t) Header {
    std::size_t size;
};

} // namespace

void* tryAllocate(std::size_t size) noexcept {
    if (size > SIZE_MAX - sizeof(Header)) {
        return nullptr;
    }
    void* const memory = std::malloc(sizeof(Header) + size);
    if (memory == nullptr) {
        return nullptr;
    }
    return new (memory) Header{size} + 1;
}

void* allocate(std::size_t size) {
    void* const block = tryAllocate(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void release(void* block) noexcept {
    if (block == nullptr) {
        return;
    }
    Header* const header = static_cast<Header*>(block) - 1;
    platform::secureZero(block, header->size);
    std::free(header);
}

} // namespace Zel
