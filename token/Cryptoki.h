#pragma once

#include <new>
#include <type_traits>

#include "cryptoki/cryptoki.h"
#include "platform/DynamicLibrary.h"
#include "platform/ForcedUnwind.h"
#include "util/Trace.h"

namespace plugin {

/// A Cryptoki function by its place in the module's function list, with its name for the trace.
template <auto Member>
struct CryptokiFunction {
    const wchar_t* name;
};

/// The functions of a module that the plug-in calls.
namespace cryptoki {
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_Initialize> initialize{L"C_Initialize"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_Finalize> finalize{L"C_Finalize"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_GetInfo> getInfo{L"C_GetInfo"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_GetSlotList> getSlotList{L"C_GetSlotList"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_GetSlotInfo> getSlotInfo{L"C_GetSlotInfo"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_GetTokenInfo> getTokenInfo{L"C_GetTokenInfo"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_InitToken> initToken{L"C_InitToken"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_InitPIN> initPIN{L"C_InitPIN"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_SetPIN> setPIN{L"C_SetPIN"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_OpenSession> openSession{L"C_OpenSession"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_CloseSession> closeSession{L"C_CloseSession"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_GetSessionInfo> getSessionInfo{L"C_GetSessionInfo"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_Login> login{L"C_Login"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_Logout> logout{L"C_Logout"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_CreateObject> createObject{L"C_CreateObject"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_DestroyObject> destroyObject{L"C_DestroyObject"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_GetAttributeValue> getAttributeValue{L"C_GetAttributeValue"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_SetAttributeValue> setAttributeValue{L"C_SetAttributeValue"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_FindObjectsInit> findObjectsInit{L"C_FindObjectsInit"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_FindObjects> findObjects{L"C_FindObjects"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_FindObjectsFinal> findObjectsFinal{L"C_FindObjectsFinal"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_SignInit> signInit{L"C_SignInit"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_Sign> sign{L"C_Sign"};
inline constexpr CryptokiFunction<&CK_FUNCTION_LIST::C_GenerateKeyPair> generateKeyPair{L"C_GenerateKeyPair"};
} // namespace cryptoki

/// The one gate to a module: every call goes through its function list here. A null entry, or a list that was never
/// bound, gives CKR_FUNCTION_NOT_SUPPORTED. An exception of the module is caught here, while the module is still
/// loaded: std::bad_alloc becomes CKR_HOST_MEMORY, any other CKR_GENERAL_ERROR. Only the unwinding of a cancelled
/// thread passes.
class Cryptoki {
public:
    void bind(CK_FUNCTION_LIST* functionList) noexcept { m_pFunctionList = functionList; }
    /// Binds the function list of the library's C_GetFunctionList, also when it comes with a failure. Failures are only
    /// traced.
    void bind(const Trace& trace, const platform::DynamicLibrary& library);
    [[nodiscard]] bool isBound() const noexcept { return m_pFunctionList != nullptr; }
    /// Returns true when the module's list has this function.
    template <auto Member>
    [[nodiscard]] bool has(CryptokiFunction<Member>) const noexcept {
        return isBound() && m_pFunctionList->*Member != nullptr;
    }

    /// Calls the function; the arguments are converted to its parameter types.
    template <auto Member, class... Args>
    [[nodiscard]] CK_RV call(CryptokiFunction<Member>, Args... args) const {
        if (m_pFunctionList == nullptr) {
            return CKR_FUNCTION_NOT_SUPPORTED;
        }
        const auto function = m_pFunctionList->*Member;
        return function == nullptr ? CKR_FUNCTION_NOT_SUPPORTED : invoke(function, args...);
    }

private:
    template <class... Params, class... Args>
    static CK_RV invoke(CK_RV (*function)(Params...), Args... args) {
        try {
            return function(converted<Params>(args)...);
        } catch (const platform::ForcedUnwind&) {
            throw;
        } catch (const std::bad_alloc&) {
            return CKR_HOST_MEMORY;
        } catch (...) {
            return CKR_GENERAL_ERROR;
        }
    }

    /// Converts lengths from size_t to CK_ULONG, which is narrower on Windows; pointers stay as they are.
    template <class Param, class Arg>
    static Param converted(Arg arg) {
        if constexpr (std::is_integral_v<Arg>) {
            return static_cast<Param>(arg);
        } else {
            return arg;
        }
    }

    CK_FUNCTION_LIST* m_pFunctionList = nullptr;
};

} // namespace plugin
