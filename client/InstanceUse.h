#pragma once

#include "zel/TString.h"

/// How many executors live for each PKCS#11 library name, process-wide. One lock guards it at all times.
namespace instances {

/// Counts one more user of the library and returns how many there are now.
int add(const Zel::TString& libraryName);
/// Counts one user less and returns how many there were before.
int remove(const Zel::TString& libraryName) noexcept;

} // namespace instances
