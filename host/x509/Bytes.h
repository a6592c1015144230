#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace host::x509 {

/// Public bytes; what is secret stands in a SecretBuffer.
using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

} // namespace host::x509
