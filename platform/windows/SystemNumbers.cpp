#include "platform/SystemNumbers.h"

#include <windows.h>

namespace platform {

std::uint64_t processNumber() noexcept {
    return GetCurrentProcessId();
}

std::uint64_t threadNumber() noexcept {
    return GetCurrentThreadId();
}

} // namespace platform
