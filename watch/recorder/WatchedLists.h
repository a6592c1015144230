#pragma once

#include "cryptoki/Version3.h"

namespace watch {

/// The list that stands in for the module's list, with those functions that the module's has; each call through it is
/// recorded. Null when the module hands out more lists than the watch has room for.
[[nodiscard]] CK_FUNCTION_LIST* watchedList(CK_FUNCTION_LIST* real) noexcept;
[[nodiscard]] CK_FUNCTION_LIST_3_0* watchedList(CK_FUNCTION_LIST_3_0* real) noexcept;

/// The interface that stands in for the module's: with a watched list where the interface is known, otherwise `real`.
/// Interfaces of the name "PKCS 11" in the versions 2.x, 3.0 and 3.1 are known.
[[nodiscard]] CK_INTERFACE* watchedInterface(CK_INTERFACE* real) noexcept;

/// An interface of version 2.x over a function list, for a module that knows no interfaces.
[[nodiscard]] CK_INTERFACE interfaceOver(CK_FUNCTION_LIST* list) noexcept;

/// The version at the beginning of an interface's function list; 0.0 for other interfaces than "PKCS 11", whose lists
/// may begin with anything.
[[nodiscard]] CK_VERSION versionOf(const CK_INTERFACE& interface) noexcept;

} // namespace watch
