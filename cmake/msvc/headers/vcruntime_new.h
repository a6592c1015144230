#pragma once

// The forms of operator new and delete that the compiler's runtime declares for the standard library.

#include <stddef.h>

namespace std {

enum class align_val_t : size_t {};

struct nothrow_t {
    explicit nothrow_t() = default;
};
extern const nothrow_t nothrow;

} // namespace std

[[nodiscard]] void* operator new(size_t size);
[[nodiscard]] void* operator new(size_t size, const std::nothrow_t&) noexcept;
[[nodiscard]] void* operator new(size_t size, std::align_val_t alignment);
[[nodiscard]] void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept;
[[nodiscard]] void* operator new[](size_t size);
[[nodiscard]] void* operator new[](size_t size, const std::nothrow_t&) noexcept;
[[nodiscard]] void* operator new[](size_t size, std::align_val_t alignment);
[[nodiscard]] void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept;

void operator delete(void* block) noexcept;
void operator delete(void* block, size_t size) noexcept;
void operator delete(void* block, const std::nothrow_t&) noexcept;
void operator delete(void* block, std::align_val_t alignment) noexcept;
void operator delete(void* block, size_t size, std::align_val_t alignment) noexcept;
void operator delete(void* block, std::align_val_t alignment, const std::nothrow_t&) noexcept;
void operator delete[](void* block) noexcept;
void operator delete[](void* block, size_t size) noexcept;
void operator delete[](void* block, const std::nothrow_t&) noexcept;
void operator delete[](void* block, std::align_val_t alignment) noexcept;
void operator delete[](void* block, size_t size, std::align_val_t alignment) noexcept;
void operator delete[](void* block, std::align_val_t alignment, const std::nothrow_t&) noexcept;

[[nodiscard]] inline void* operator new(size_t, void* place) noexcept {
    return place;
}
[[nodiscard]] inline void* operator new[](size_t, void* place) noexcept {
    return place;
}
inline void operator delete(void*, void*) noexcept {}
inline void operator delete[](void*, void*) noexcept {}
