#include "platform/SecureZero.h"

#include <string.h>

namespace platform {

void secureZero(void* bytes, std::size_t length) noexcept {
    if (length != 0) {
        explicit_bzero(bytes, length);
    }
}

} // namespace platform
