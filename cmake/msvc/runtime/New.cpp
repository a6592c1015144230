// operator new and delete on the C library's heap. Each form may be replaced alone by a program, and the others then
// use the one that replaces it.

#include <malloc.h>
#include <stdlib.h>

#include <vcruntime_exception.h>
#include <vcruntime_new.h>

#define REPLACEABLE [[gnu::weak]]

namespace {

void* orThrow(void* block) {
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

} // namespace

REPLACEABLE void* operator new(size_t size) {
    return orThrow(malloc(size != 0 ? size : 1));
}
REPLACEABLE void* operator new(size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (...) {
        return nullptr;
    }
}
REPLACEABLE void* operator new[](size_t size) {
    return operator new(size);
}
REPLACEABLE void* operator new[](size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}
REPLACEABLE void operator delete(void* block) noexcept {
    free(block);
}
REPLACEABLE void operator delete(void* block, size_t) noexcept {
    operator delete(block);
}
REPLACEABLE void operator delete(void* block, const std::nothrow_t&) noexcept {
    operator delete(block);
}
REPLACEABLE void operator delete[](void* block) noexcept {
    operator delete(block);
}
REPLACEABLE void operator delete[](void* block, size_t) noexcept {
    operator delete[](block);
}
REPLACEABLE void operator delete[](void* block, const std::nothrow_t&) noexcept {
    operator delete[](block);
}

REPLACEABLE void* operator new(size_t size, std::align_val_t alignment) {
    return orThrow(_aligned_malloc(size != 0 ? size : 1, static_cast<size_t>(alignment)));
}
REPLACEABLE void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    try {
        return operator new(size, alignment);
    } catch (...) {
        return nullptr;
    }
}
REPLACEABLE void* operator new[](size_t size, std::align_val_t alignment) {
    return operator new(size, alignment);
}
REPLACEABLE void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, alignment, nothrow);
}
REPLACEABLE void operator delete(void* block, std::align_val_t) noexcept {
    _aligned_free(block);
}
REPLACEABLE void operator delete(void* block, size_t, std::align_val_t alignment) noexcept {
    operator delete(block, alignment);
}
REPLACEABLE void operator delete(void* block, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    operator delete(block, alignment);
}
REPLACEABLE void operator delete[](void* block, std::align_val_t alignment) noexcept {
    operator delete(block, alignment);
}
REPLACEABLE void operator delete[](void* block, size_t, std::align_val_t alignment) noexcept {
    operator delete[](block, alignment);
}
REPLACEABLE void operator delete[](void* block, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    operator delete[](block, alignment);
}
