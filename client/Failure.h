#pragma once

#include "zel/TString.h"

namespace plugin {

/// Throws a ClientOperationException with this message and the code for a precondition or parameter failure (33004).
[[noreturn]] void throwFailure(const Zel::TString& message);

/// The same for a host that asked for more than there is memory for (33014): the one thing besides preconditions that
/// an operation cannot put into "ERROR".
[[noreturn]] void throwOutOfMemory();

} // namespace plugin
