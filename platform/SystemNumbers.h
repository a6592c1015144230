#pragma once

#include <cstdint>

namespace platform {

/// The system's number of the calling process and of the calling thread, as the system's own tools show them. Each
/// question is a system call on Linux.
[[nodiscard]] std::uint64_t processNumber() noexcept;
[[nodiscard]] std::uint64_t threadNumber() noexcept;

} // namespace platform
