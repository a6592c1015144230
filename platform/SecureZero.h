#pragma once

#include <cstddef>

namespace platform {

/// Overwrites `length` bytes with zeros in a way that no compiler removes. Null with length 0 is allowed.
void secureZero(void* bytes, std::size_t length) noexcept;

} // namespace platform
