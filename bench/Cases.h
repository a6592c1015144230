#pragma once

#include <span>
#include <string>
#include <vector>

#include "bench/noop/Control.h"

namespace bench {

/// One script with the parameters that it is measured with on the module that does nothing.
struct Case {
    const char* script;
    std::vector<std::string> arguments;
    CK_STATE state; ///< of the session while it runs
};

/// All eighteen, in the order of the plug-in's list.
[[nodiscard]] std::span<const Case> cases();

/// A block to sign (the DigestInfo of a SHA-256 digest) and a certificate's worth of bytes, as arguments.
[[nodiscard]] std::string signArgument();
[[nodiscard]] std::string certificateArgument();

} // namespace bench
