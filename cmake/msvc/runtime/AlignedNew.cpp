#include <malloc.h>

#include <vcruntime_exception.h>
#include <vcruntime_new.h>

void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return _aligned_malloc(size != 0 ? size : 1, static_cast<size_t>(alignment));
}
void* operator new(size_t size, std::align_val_t alignment) {
    void* const block = operator new (size, alignment, std::nothrow_t{});
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
void* operator new[](size_t size, std::align_val_t alignment) {
    return operator new(size, alignment);
}
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, alignment, nothrow);
}

void operator delete(void* block, std::align_val_t) noexcept {
    _aligned_free(block);
}
void operator delete(void* block, size_t, std::align_val_t) noexcept {
    _aligned_free(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    _aligned_free(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
    _aligned_free(block);
}
void operator delete[](void* block, size_t, std::align_val_t) noexcept {
    _aligned_free(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    _aligned_free(block);
}
