#include "platform/SecureZero.h"

#include <cstring>

namespace platform {

void secureZero(void* bytes, std::size_t length) noexcept {
    if (length == 0) {
        return;
    }
    std::memset(bytes, 0, length);
    // As far as the compiler knows, this reads the zeros. explicit_bzero is the same with one more call, which counts:
    // nearly everything that is freed comes through here.
    asm volatile("" : : "r"(bytes) : "memory");
}

} // namespace platform
