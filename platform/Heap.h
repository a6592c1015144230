#pragma once

#include <cstddef>

namespace platform {

/// The bytes that a block of malloc's has room for, at least as many as were asked for; all of them may be overwritten.
[[nodiscard]] std::size_t blockSize(void* block) noexcept;

} // namespace platform
