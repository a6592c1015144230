#pragma once

#include "cryptoki/Version3.h"

namespace watch {

/// What the module that P11WATCH_MODULE names exports.
struct RealModule {
    CK_C_GetFunctionList getFunctionList = nullptr; ///< null when the module cannot be had
    CK_C_GetInterfaceList getInterfaceList = nullptr;
    CK_C_GetInterface getInterface = nullptr;
};

/// Loads the module with the first question, and keeps it loaded: calls come until the process ends. Standard error
/// says why it cannot be had; later questions try again.
[[nodiscard]] RealModule realModule() noexcept;

} // namespace watch
