#pragma once

#include <cstdint>

namespace bench {

/// How often the program and its libraries have asked for memory so far.
[[nodiscard]] std::uint64_t allocations();

} // namespace bench
