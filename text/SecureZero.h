#pragma once

#include <cstddef>
#include <cstring>

namespace text {

/// Overwrites `length` bytes with zeros in a way that no compiler removes. Null with length 0 is allowed.
inline void secureZero(void* bytes, std::size_t length) noexcept {
    if (length != 0) {
        std::memset(bytes, 0, length);
        // For the compiler this reads all memory, so it must write the zeros.
        asm volatile("" : : "r"(bytes) : "memory");
    }
}

} // namespace text
