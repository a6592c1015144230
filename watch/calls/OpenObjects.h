#pragma once

#include <optional>

#include "cryptoki/cryptoki.h"
#include "watch/calls/Binding.h"

// Open objects may show all their attributes: certificates, public keys and others that hold neither a key nor data of
// a person.

namespace watch {

/// The class that the attribute holds; nullopt for another attribute, and for a value that is not a class.
[[nodiscard]] std::optional<CK_OBJECT_CLASS> classIn(const CK_ATTRIBUTE& attribute) noexcept;
[[nodiscard]] bool isOpenClass(CK_OBJECT_CLASS objectClass) noexcept;
/// Returns true when the template names a class, and all classes that it names are open.
[[nodiscard]] bool isOpenTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count) noexcept;
/// Returns true for a call that makes or searches for objects of an open class.
[[nodiscard]] bool namesOpenClass(FunctionId id, Words words) noexcept;

/// Longer templates than any program's are not read: such a count is an error of the program, whose memory ends before.
inline constexpr CK_ULONG kMostAttributes = 4096;

} // namespace watch
