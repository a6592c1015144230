#pragma once

#include <string>

#include "bench/noop/Control.h"
#include "platform/DynamicLibrary.h"

namespace bench {

/// A PKCS#11 module used directly, without the plug-in. The file is UTF-8; throws std::runtime_error when it is no
/// module.
class Module {
public:
    explicit Module(const std::string& file);

    [[nodiscard]] CK_FUNCTION_LIST& functions() const { return *m_pFunctions; }
    /// Null for every other module than the one that does nothing.
    [[nodiscard]] NoopControl* noop() const;

private:
    platform::DynamicLibrary m_library;
    CK_FUNCTION_LIST* m_pFunctions = nullptr;
};

/// The file of the module that does nothing.
[[nodiscard]] std::string noopFile();

/// Throws std::runtime_error with the function's name unless `rv` is CKR_OK.
void require(CK_RV rv, const char* function);

} // namespace bench
