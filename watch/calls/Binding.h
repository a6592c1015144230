#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <type_traits>

#include "cryptoki/Version3.h"
#include "watch/calls/Functions.h"

namespace watch {

/// A parameter of any function: a number, or the address that a pointer holds.
using Word = std::uint64_t;
using Words = std::span<const Word>;

template <class Parameter>
[[nodiscard]] Word toWord(Parameter parameter) noexcept {
    if constexpr (std::is_pointer_v<Parameter>) {
        return reinterpret_cast<std::uintptr_t>(parameter);
    } else {
        return parameter;
    }
}

template <class Pointed>
[[nodiscard]] Pointed* pointer(Word word) noexcept {
    return reinterpret_cast<Pointed*>(static_cast<std::uintptr_t>(word));
}

/// A function of the standard whose parameters go to `Handler` as words:
///
///     struct Handler {
///         template <auto Member, class... Parameters>
///         static CK_RV call(FunctionId id, Words words, Parameters... parameters);
///     };
///     list.C_Login = Binding<Handler, &CK_FUNCTION_LIST::C_Login, FunctionId::C_Login>::call;
template <class Handler, auto kMember, FunctionId kId, class Member = decltype(kMember)>
struct Binding;

template <class Handler, auto kMember, FunctionId kId, class List, class... Parameters>
struct Binding<Handler, kMember, kId, CK_RV (*List::*)(Parameters...)> {
    static_assert(parametersOf(functionOf(kId)) == sizeof...(Parameters));

    static CK_RV call(Parameters... parameters) {
        const std::array<Word, sizeof...(Parameters)> words{toWord(parameters)...};
        return Handler::template call<kMember>(kId, Words(words), parameters...);
    }
};

/// Fills the functions of version 2.40, those alone that `real` has.
template <class Handler>
void bindFunctions(CK_FUNCTION_LIST& list, const CK_FUNCTION_LIST& real) noexcept {
#define WATCH_BIND(name)                                                                                               \
    list.name = real.name == nullptr ? nullptr : Binding<Handler, &CK_FUNCTION_LIST::name, FunctionId::name>::call;
    WATCH_FUNCTIONS(WATCH_BIND)
#undef WATCH_BIND
}

/// The same for the functions that version 3.0 adds.
template <class Handler>
void bindFunctions(CK_FUNCTIONS_3_0& list, const CK_FUNCTIONS_3_0& real) noexcept {
#define WATCH_BIND(name)                                                                                               \
    list.name = real.name == nullptr ? nullptr : Binding<Handler, &CK_FUNCTIONS_3_0::name, FunctionId::name>::call;
    WATCH_FUNCTIONS_3(WATCH_BIND)
#undef WATCH_BIND
}

} // namespace watch
