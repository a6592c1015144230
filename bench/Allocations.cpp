#include "bench/Allocations.h"

#include <cstddef>

// The program's malloc takes the place of the C library's for everything that is loaded, and counts.

extern "C" {
void* __libc_malloc(std::size_t size);                    // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size); // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, std::size_t size);      // NOLINT(bugprone-reserved-identifier)
}

namespace {
std::uint64_t g_allocations = 0;
}

extern "C" {

void* malloc(std::size_t size) {
    ++g_allocations;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    ++g_allocations;
    return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
    ++g_allocations;
    return __libc_realloc(block, size);
}

} // extern "C"

std::uint64_t bench::allocations() {
    return g_allocations;
}
