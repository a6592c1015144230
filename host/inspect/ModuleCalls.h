#pragma once

#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "cryptoki/ResultNames.h"
#include "cryptoki/cryptoki.h"
#include "platform/ForcedUnwind.h"

namespace host {

/// The gate to a module for who only looks at it. A function that the module left out answers
/// CKR_FUNCTION_NOT_SUPPORTED; an exception of the module ends here, while the module is still loaded.
class ModuleCalls {
public:
    explicit ModuleCalls(CK_FUNCTION_LIST* functions) noexcept : m_functions(functions) {}

    template <auto Member, class... Args>
    [[nodiscard]] CK_RV call(Args... args) const {
        const auto function = m_functions->*Member;
        return function == nullptr ? CKR_FUNCTION_NOT_SUPPORTED : guarded(function, args...);
    }

    template <class... Params, class... Args>
    [[nodiscard]] static CK_RV guarded(CK_RV (*function)(Params...), Args... args) {
        try {
            return function(static_cast<Params>(args)...);
        } catch (const platform::ForcedUnwind&) {
            throw;
        } catch (const std::bad_alloc&) {
            return CKR_HOST_MEMORY;
        } catch (...) {
            return CKR_GENERAL_ERROR;
        }
    }

private:
    CK_FUNCTION_LIST* m_functions;
};

/// Throws a ModuleError unless `rv`, which this function answered, is CKR_OK.
void requireOk(CK_RV rv, const char* function);

} // namespace host
