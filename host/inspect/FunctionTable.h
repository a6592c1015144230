#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "cryptoki/cryptoki.h"

namespace host {

/// A function of version 2.40 of the standard, in the standard's order.
struct FunctionEntry {
    const char* name;   ///< "C_Initialize"
    std::size_t offset; ///< in CK_FUNCTION_LIST
};

[[nodiscard]] std::span<const FunctionEntry> functionTable() noexcept;

/// The address in a function list whose entries stand `shift` bytes from where they should; 0 for a hole.
[[nodiscard]] std::uintptr_t addressIn(const void* list, const FunctionEntry& entry, std::ptrdiff_t shift = 0) noexcept;

} // namespace host
