// The program's operator new and delete: a block is overwritten before it is given back. Libraries keep pieces of a job
// in buffers of their own, the JSON parser its last token and the message that quotes it, and standard strings what
// they grew out of. On Linux this serves the runtime, the plug-in and the framework too, on Windows this program alone.
//
// It belongs to p11host and to nobody else: a test program may bring an operator new of its own.
#include <cstdlib>
#include <new>

#include "platform/Heap.h"
#include "text/SecureZero.h"

namespace {

void wipeAndFree(void* block) noexcept {
    if (block != nullptr) {
        text::secureZero(block, platform::blockSize(block));
        std::free(block);
    }
}

} // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size == 0 ? 1 : size);
}

void* operator new(std::size_t size) {
    void* const block = operator new(size, std::nothrow);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept {
    wipeAndFree(block);
}

void operator delete(void* block, std::size_t) noexcept {
    wipeAndFree(block);
}

void operator delete(void* block, const std::nothrow_t&) noexcept {
    wipeAndFree(block);
}
