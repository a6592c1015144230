// Array forms are those for one object; a program that replaces these replaces the arrays', too.

#include <vcruntime_new.h>

void* operator new[](size_t size) {
    return operator new(size);
}
void* operator new[](size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}
void operator delete[](void* block) noexcept {
    operator delete(block);
}
void operator delete[](void* block, size_t size) noexcept {
    operator delete(block, size);
}
void operator delete[](void* block, const std::nothrow_t& nothrow) noexcept {
    operator delete(block, nothrow);
}
