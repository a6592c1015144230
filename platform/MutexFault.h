#pragma once

#include <cstdint>

namespace platform::testing {

/// The next Mutex::create of this process, on any thread, fails with this error number (not 0) instead of asking the
/// system: systems hardly ever refuse a mutex by themselves, and what follows must be tested all the same.
void failNextMutexCreate(std::uint32_t error) noexcept;

/// For Mutex::create: the error to fail with, once; otherwise 0.
[[nodiscard]] std::uint32_t takeMutexFault() noexcept;

} // namespace platform::testing
