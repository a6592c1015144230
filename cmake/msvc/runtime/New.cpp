// The heap of C++ is the C library's. Forms for arrays and aligned ones stand in files of their own: a program may
// replace these alone.

#include <stdlib.h>

#include <vcruntime_exception.h>
#include <vcruntime_new.h>

void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return malloc(size != 0 ? size : 1);
}
void* operator new(size_t size) {
    void* const block = operator new (size, std::nothrow_t{});
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept {
    free(block);
}
void operator delete(void* block, size_t) noexcept {
    free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    free(block);
}
