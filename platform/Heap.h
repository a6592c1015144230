#pragma once

#include <cstddef>

namespace platform {

/// The usable size of a block of malloc, in bytes: at least the size asked for. All of it may be overwritten.
[[nodiscard]] std::size_t blockSize(void* block) noexcept;

} // namespace platform
