#include "platform/SecureZero.h"

#include <windows.h>

namespace platform {

void secureZero(void* bytes, std::size_t length) noexcept {
    SecureZeroMemory(bytes, length);
}

} // namespace platform
