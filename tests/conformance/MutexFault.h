#pragma once

#include <cstdint>

/// The next Mutex::create of this process, on any thread, fails with this error number (not 0): systems hardly ever
/// refuse a mutex by themselves, and what follows must be tested all the same. Test programs have this file's mutex in
/// place of the system's.
void failNextMutexCreate(std::uint32_t error) noexcept;
