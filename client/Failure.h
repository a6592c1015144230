#pragma once

#include "zel/TString.h"

namespace plugin {

/// Throws a ClientOperationException with this message and the code for a precondition or parameter failure (33004).
[[noreturn]] void throwFailure(const Zel::TString& message);

/// The same with the code for lack of memory (33014). "ERROR" cannot report it, because the response itself needs
/// memory.
[[noreturn]] void throwOutOfMemory();

} // namespace plugin
