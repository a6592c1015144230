#include "zel/Allocator.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#include "text/SecureZero.h"

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
    if (block != nullptr) {
        text::secureZero(block, (static_cast<Header*>(block) - 1)->size);
        releasePublic(block);
    }
}

void releasePublic(void* block) noexcept {
    if (block != nullptr) {
        std::free(static_cast<Header*>(block) - 1);
    }
}

} // namespace Zel
