#pragma once

#include <span>

#include "cryptoki/Names.h"
#include "cryptoki/cryptoki.h"
#include "watch/calls/JsonLine.h"

namespace watch {

/// Values that are longer are not read: such a length is mostly an error of the program, and its memory ends before.
inline constexpr CK_ULONG kLongestValue = 1U << 20U;

/// Returns true for the attributes that hold a key, a person's data, or something unknown. `isOpen` says that the
/// object is a certificate, a public key or something else without secrets.
[[nodiscard]] bool isMasked(CK_ATTRIBUTE_TYPE type, bool isOpen) noexcept;

/// Writes the number by its name, or as hexadecimal digits.
void writeNamed(JsonLine& line, cryptoki::NameKind kind, std::uint64_t number) noexcept;

/// Writes a template that goes to the module. A null pointer is null.
void writeTemplate(JsonLine& line, const CK_ATTRIBUTE* attributes, CK_ULONG count, bool isOpen) noexcept;
/// Writes the types of a template that the module fills, with the room for each value, and null where there is no
/// buffer.
void writeQuery(JsonLine& line, const CK_ATTRIBUTE* attributes, std::span<const CK_ULONG> rooms) noexcept;
/// Writes a template that the module has filled; values are read up to the room of each. When the call failed for some
/// attributes, values are written up to the last one that the module visibly answered for: a buffer behind it may hold
/// anything.
void writeAnswer(JsonLine& line, const CK_ATTRIBUTE* attributes, std::span<const CK_ULONG> rooms, bool isOpen,
                 bool isComplete) noexcept;

/// Writes a mechanism with the numbers of its parameter, and masks the rest of it.
void writeMechanism(JsonLine& line, const CK_MECHANISM* mechanism) noexcept;

} // namespace watch
