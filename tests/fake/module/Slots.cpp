#include "tests/fake/module/Gate.h"
#include "tests/fake/module/Model.h"

#include <algorithm>

namespace Fake {

CK_RV act(State& state, Of<Function::C_Initialize>, CK_VOID_PTR arguments) {
    if (state.initialized) {
        return CKR_CRYPTOKI_ALREADY_INITIALIZED;
    }
    if (arguments != nullptr && static_cast<CK_C_INITIALIZE_ARGS*>(arguments)->pReserved != nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    state.initialized = true;
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_Finalize>, CK_VOID_PTR extra) {
    if (extra != nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    state.closeAllSessions();
    state.initialized = false;
    return CKR_OK;
}

CK_RV act(State&, Of<Function::C_GetInfo>, CK_INFO* info) {
    if (info == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    *info = {};
    info->cryptokiVersion = {2, 40};
    fillField(info->manufacturerID, "Fake Tokens");
    fillField(info->libraryDescription, "Fake PKCS#11 Module");
    info->libraryVersion = {1, 0};
    return CKR_OK;
}

CK_RV act(State&, Of<Function::C_GetFunctionList>, CK_FUNCTION_LIST** list) {
    if (list == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    *list = publicList();
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_GetSlotList>, CK_BBOOL tokenPresent, CK_SLOT_ID* list, CK_ULONG* room) {
    if (room == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    const auto counts = [tokenPresent](const Slot& slot) { return tokenPresent == CK_FALSE || slot.tokenPresent; };
    const auto total = static_cast<CK_ULONG>(std::count_if(state.slots.begin(), state.slots.end(), counts));
    const bool fits = *room >= total;
    *room = total;
    if (list == nullptr) {
        return CKR_OK;
    }
    if (!fits) {
        return CKR_BUFFER_TOO_SMALL;
    }
    for (const Slot& slot : state.slots) {
        if (counts(slot)) {
            *list++ = slot.id;
        }
    }
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_GetSlotInfo>, CK_SLOT_ID id, CK_SLOT_INFO* info) {
    const Slot* slot = state.slot(id);
    if (slot == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    if (info == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    *info = slot->info;
    if (!slot->tokenPresent) {
        info->flags &= ~static_cast<CK_FLAGS>(CKF_TOKEN_PRESENT);
    }
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_GetTokenInfo>, CK_SLOT_ID id, CK_TOKEN_INFO* info) {
    const Slot* slot = state.slot(id);
    if (slot == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    if (!slot->tokenPresent) {
        return CKR_TOKEN_NOT_PRESENT;
    }
    if (info == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    *info = state.tokenInfo(*slot);
    return CKR_OK;
}

} // namespace Fake
