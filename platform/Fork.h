#pragma once

namespace platform {

/// Calls `before` on the forking thread just before each fork, and `after` in both processes after it, until the
/// library that calls this is unloaded. Does nothing on Windows. Returns false when memory is short.
bool aroundFork(void (*before)(), void (*after)()) noexcept;

} // namespace platform
