#pragma once

#include <mutex>

namespace watch {

/// Guards what the watch makes once in a process: the module's functions and the lists in front of its own. It is
/// locked around a fork, so that no other thread holds the child's. No code of the module runs under it, which may
/// fork.
inline std::mutex g_madeOnce;

} // namespace watch
