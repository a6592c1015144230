#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "text/Wiped.h"

namespace host::x509 {

/// Public bytes; what is secret stands in a SecretBuffer.
using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/// The bytes that a text or a file holds; nothing is copied.
[[nodiscard]] inline ByteView viewOf(std::string_view bytes) noexcept {
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}
[[nodiscard]] inline ByteView viewOf(const WipedBytes& bytes) noexcept {
    return viewOf(charactersOf(bytes));
}

} // namespace host::x509
