#pragma once

#include <chrono>

namespace platform {

/// Suspends the calling thread for at least that long.
void sleepFor(std::chrono::milliseconds duration);

} // namespace platform
