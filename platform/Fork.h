#pragma once

namespace platform {

/// Calls `before` on the thread that forks, just before it does, and `after` behind the fork in both processes. Ends
/// when the library that calls this is unloaded. Does nothing where processes do not fork. Returns false without
/// memory.
bool aroundFork(void (*before)(), void (*after)()) noexcept;

} // namespace platform
