#pragma once

#include <cstdint>

/// Makes sure that the lock of the instance counts exists. A system mutex is created on every call, as hosts' traces
/// show it; the first one made stays the lock for the process's life, so that no two threads ever hold different ones.
/// Returns false, and the system's error number, when no mutex can be created.
[[nodiscard]] bool createInstanceMutex(std::uint32_t& error);
