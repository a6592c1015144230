#pragma once

#include <cstddef>

namespace platform {

/// How many columns of a terminal a character takes: 2 for a wide one (Chinese, Korean, emoji), 0 for one that is drawn
/// over the one before it, else 1. The user's locale does not matter.
[[nodiscard]] std::size_t columnsOf(char32_t character) noexcept;

} // namespace platform
