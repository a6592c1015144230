#include "tests/fake/module/Model.h"

#include <algorithm>

namespace Fake {

CK_RV act(State& state, Of<Function::C_OpenSession>, CK_SLOT_ID id, CK_FLAGS flags, CK_VOID_PTR, CK_NOTIFY,
          CK_SESSION_HANDLE* handle) {
    const Slot* slot = state.slot(id);
    if (slot == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    if (handle == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    if ((flags & CKF_SERIAL_SESSION) == 0) {
        return CKR_SESSION_PARALLEL_NOT_SUPPORTED;
    }
    if (!slot->tokenPresent) {
        return CKR_TOKEN_NOT_PRESENT;
    }
    if ((flags & CKF_RW_SESSION) == 0 && slot->token.login == Role::SecurityOfficer) {
        return CKR_SESSION_READ_WRITE_SO_EXISTS;
    }
    *handle = state.addSession(id, flags).handle;
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_CloseSession>, CK_SESSION_HANDLE handle) {
    if (state.session(handle) == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    state.closeSession(handle);
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_CloseAllSessions>, CK_SLOT_ID id) {
    if (state.slot(id) == nullptr) {
        return CKR_SLOT_ID_INVALID;
    }
    state.closeSessions(id);
    return CKR_OK;
}

CK_RV act(State& state, Of<Function::C_GetSessionInfo>, CK_SESSION_HANDLE handle, CK_SESSION_INFO* info) {
    const Session* session = state.session(handle);
    if (session == nullptr) {
        return CKR_SESSION_HANDLE_INVALID;
    }
    if (info == nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    info->slotID = session->slot;
    info->state = state.shownState ? *state.shownState : state.stateOf(*session);
    info->flags = session->flags;
    info->ulDeviceError = 0;
    return CKR_OK;
}

} // namespace Fake
