#pragma once

#include <cstdint>

#include "zel/TString.h"

/// The number of live executors for each PKCS#11 library name in this process. One lock guards the counts.
namespace plugin::instances {

/// Creates the lock; call it first. Every call creates a system mutex, because hosts' traces show that; the first mutex
/// stays the lock for the process's life, so that all threads use the same one. Returns false, with the system's error
/// number in `error`, when no mutex can be created.
[[nodiscard]] bool createMutex(std::uint32_t& error);
/// Adds one executor of the library and returns the new count.
int add(const Zel::TString& libraryName);
/// Removes one executor of the library and returns the count before that.
int remove(const Zel::TString& libraryName) noexcept;

} // namespace plugin::instances
