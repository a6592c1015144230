#include "tests/fake/module/CallText.h"
#include "tests/fake/module/Gate.h"
#include "tests/fake/module/Model.h"

#include <new>

namespace Fake {

namespace {

constexpr bool worksUninitialized(Function function) {
    return function == Function::C_Initialize || function == Function::C_GetFunctionList;
}

/// A function of the model behind the lock.
template <Function F, class S>
struct Honest;
template <Function F, class... Arguments>
struct Honest<F, CK_RV(Arguments...)> {
    static CK_RV call(Arguments... arguments) {
        try {
            State& model = state();
            const std::lock_guard lock(model.mutex);
            if (!model.initialized && !worksUninitialized(F)) {
                return CKR_CRYPTOKI_NOT_INITIALIZED;
            }
            return act(model, Of<F>(), arguments...);
        } catch (const std::bad_alloc&) {
            return CKR_HOST_MEMORY;
        }
    }
};

/// The same function as callers reach it: recorded and answered as told.
template <Function F, class S>
struct Gated;
template <Function F, class... Arguments>
struct Gated<F, CK_RV(Arguments...)> {
    static Passage enter(Arguments... arguments) {
        const std::lock_guard lock(state().mutex);
        Gate& entrance = gate();
        entrance.countCall(F);
        if (entrance.isRecording()) {
            CallText text(F);
            describe(text, Of<F>(), arguments...);
            entrance.record(text.take());
        }
        return entrance.passage(F);
    }

    static CK_RV call(Arguments... arguments) {
        const Passage passage = enter(arguments...);
        if (passage.answer && passage.answer->when == When::Before) {
            return passage.answer->rv;
        }
        CK_RV rv = CKR_OK;
        if (passage.hook.thunk != nullptr) {
            auto hook = reinterpret_cast<CK_RV (*)(void*, Arguments...)>(passage.hook.thunk);
            rv = hook(passage.hook.context, arguments...);
        } else {
            rv = Honest<F, CK_RV(Arguments...)>::call(arguments...);
        }
        return passage.answer ? passage.answer->rv : rv;
    }
};

template <template <Function, class> class Kind>
CK_FUNCTION_LIST makeList() {
    CK_FUNCTION_LIST list = {};
    list.version = {2, 40};
#define X(name) list.name = &Kind<Function::name, Signature<Function::name>>::call;
    FAKE_FUNCTIONS(X)
#undef X
    return list;
}

CK_FUNCTION_LIST s_publicList = makeList<Gated>();
bool s_nullList = false;

} // namespace

CK_FUNCTION_LIST* publicList() {
    return s_nullList ? nullptr : &s_publicList;
}

void setNullList(bool null) {
    s_nullList = null;
}

void setNullEntry(Function function, bool null) {
    switch (function) {
#define X(name)                                                                                                        \
    case Function::name:                                                                                               \
        s_publicList.name = null ? nullptr : &Gated<Function::name, Signature<Function::name>>::call;                  \
        break;
        FAKE_FUNCTIONS(X)
#undef X
    }
}

void restoreLists() {
    s_publicList = makeList<Gated>();
    s_nullList = false;
}

const CK_FUNCTION_LIST* honestList() {
    static const CK_FUNCTION_LIST list = makeList<Honest>();
    return &list;
}

CK_RV getFunctionList(CK_FUNCTION_LIST** list) {
    return Gated<Function::C_GetFunctionList, Signature<Function::C_GetFunctionList>>::call(list);
}

} // namespace Fake
