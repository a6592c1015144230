#pragma once

#include <cstdint>

#include "zel/TString.h"

/// How many executors live for each PKCS#11 library name, process-wide. One lock guards the counts at all times.
namespace plugin::instances {

/// Makes sure that the lock exists; call it first. A system mutex is created on every call, as hosts' traces show it;
/// the first one made stays the lock for the process's life, so that no two threads ever hold different ones.
/// Returns false, and the system's error number, when no mutex can be created.
[[nodiscard]] bool createMutex(std::uint32_t& error);
/// Counts one more user of the library and returns how many there are now.
int add(const Zel::TString& libraryName);
/// Counts one user less and returns how many there were before.
int remove(const Zel::TString& libraryName) noexcept;

} // namespace plugin::instances
