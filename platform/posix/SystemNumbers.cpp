#include "platform/SystemNumbers.h"

#include <unistd.h>

namespace platform {

std::uint64_t processNumber() noexcept {
    return static_cast<std::uint64_t>(::getpid());
}

std::uint64_t threadNumber() noexcept {
    return static_cast<std::uint64_t>(::gettid());
}

} // namespace platform
