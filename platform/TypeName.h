#pragma once

#include <string>
#include <typeinfo>

namespace platform {

/// The name of a class as its source has it, for example "std::bad_alloc"; the compiler's own name for it where that
/// cannot be read.
[[nodiscard]] std::string typeName(const std::type_info& type);

} // namespace platform
