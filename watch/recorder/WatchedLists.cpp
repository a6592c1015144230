#include "watch/recorder/WatchedLists.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "watch/calls/Binding.h"
#include "watch/recorder/Exports.h"
#include "watch/recorder/MadeOnce.h"
#include "watch/recorder/RecordedCall.h"

namespace watch {

namespace {

CK_UTF8CHAR g_name[] = "PKCS 11";

// The lists are made under g_madeOnce; calls read them without it, after they got the list.

template <class Function, class... Parameters>
CK_RV recorded(FunctionId id, Words words, Function function, Parameters... parameters) {
    RecordedCall call(id, words);
    const CK_RV result = function == nullptr ? CKR_FUNCTION_NOT_SUPPORTED : function(parameters...);
    call.finish(result);
    return result;
}

template <int kIndex>
struct Version2 {
    static inline CK_FUNCTION_LIST* s_real = nullptr;
    static inline CK_FUNCTION_LIST s_list;

    template <auto kMember, class... Parameters>
    static CK_RV call(FunctionId id, Words words, Parameters... parameters) {
        return recorded(id, words, s_real->*kMember, parameters...);
    }

    static CK_FUNCTION_LIST* listFor(CK_FUNCTION_LIST* real) noexcept {
        if (s_real == nullptr) {
            s_real = real;
            // A program that read a later version here would read on behind the list.
            s_list.version = real->version.major > 2 ? CK_VERSION{2, 40} : real->version;
            bindFunctions<Version2>(s_list, *real);
            s_list.C_GetFunctionList = &C_GetFunctionList;
        }
        return s_real == real ? &s_list : nullptr;
    }
};

struct Version3 {
    static inline CK_FUNCTION_LIST_3_0* s_real = nullptr;
    static inline CK_FUNCTION_LIST_3_0 s_list;

    template <auto kMember, class... Parameters>
    static CK_RV call(FunctionId id, Words words, Parameters... parameters) {
        if constexpr (std::is_invocable_v<decltype(kMember), CK_FUNCTION_LIST&>) {
            return recorded(id, words, s_real->base.*kMember, parameters...);
        } else {
            return recorded(id, words, s_real->added.*kMember, parameters...);
        }
    }

    static CK_FUNCTION_LIST_3_0* listFor(CK_FUNCTION_LIST_3_0* real) noexcept {
        if (s_real == nullptr) {
            s_real = real;
            s_list.base.version = real->base.version;
            bindFunctions<Version3>(s_list.base, real->base);
            bindFunctions<Version3>(s_list.added, real->added);
            s_list.base.C_GetFunctionList = &C_GetFunctionList;
            s_list.added.C_GetInterfaceList = &C_GetInterfaceList;
            s_list.added.C_GetInterface = &C_GetInterface;
        }
        return s_real == real ? &s_list : nullptr;
    }
};

/// Null for an interface that is not known, or for which no list is left.
void* watchedFunctions(const CK_INTERFACE& real) noexcept {
    const CK_VERSION version = versionOf(real);
    if (version.major == 2) {
        return watchedList(static_cast<CK_FUNCTION_LIST*>(real.pFunctionList));
    }
    if (version.major == 3 && version.minor <= 1) {
        return watchedList(static_cast<CK_FUNCTION_LIST_3_0*>(real.pFunctionList));
    }
    return nullptr;
}

} // namespace

CK_FUNCTION_LIST* watchedList(CK_FUNCTION_LIST* real) noexcept {
    const std::lock_guard lock(g_madeOnce);
    CK_FUNCTION_LIST* const list = Version2<0>::listFor(real);
    return list != nullptr ? list : Version2<1>::listFor(real);
}

CK_FUNCTION_LIST_3_0* watchedList(CK_FUNCTION_LIST_3_0* real) noexcept {
    const std::lock_guard lock(g_madeOnce);
    return Version3::listFor(real);
}

CK_INTERFACE* watchedInterface(CK_INTERFACE* real) noexcept {
    static std::array<CK_INTERFACE, 8> s_interfaces{};
    void* const functions = watchedFunctions(*real);
    if (functions == nullptr) {
        return real;
    }
    const std::lock_guard lock(g_madeOnce);
    for (CK_INTERFACE& made : s_interfaces) {
        if (made.pFunctionList == nullptr) {
            made = {real->pInterfaceName, functions, real->flags};
        }
        if (made.pFunctionList == functions && made.flags == real->flags) {
            return &made;
        }
    }
    return real;
}

CK_INTERFACE interfaceOver(CK_FUNCTION_LIST* list) noexcept {
    return {g_name, list, 0};
}

CK_VERSION versionOf(const CK_INTERFACE& interface) noexcept {
    CK_VERSION version{0, 0};
    if (interface.pInterfaceName != nullptr && interface.pFunctionList != nullptr &&
        std::strcmp(reinterpret_cast<const char*>(interface.pInterfaceName), reinterpret_cast<const char*>(g_name)) ==
            0) {
        std::memcpy(&version, interface.pFunctionList, sizeof version);
    }
    return version;
}

} // namespace watch
