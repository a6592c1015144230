#pragma once

#include "cryptoki/cryptoki.h"
#include "tests/fake/Function.h"
#include "tests/fake/module/State.h"

// What an honest token does: one operation for each function that issuing credentials needs. They run under the
// state's lock, in an initialised module (but for C_Initialize).

namespace Fake {

/// Chooses the operation of one function.
template <Function F>
struct Of {};

template <Function F, class... Arguments>
CK_RV act(State&, Of<F>, Arguments...) {
    return CKR_FUNCTION_NOT_SUPPORTED;
}

// Module, slots and tokens
CK_RV act(State& state, Of<Function::C_Initialize>, CK_VOID_PTR arguments);
CK_RV act(State& state, Of<Function::C_Finalize>, CK_VOID_PTR extra);
CK_RV act(State& state, Of<Function::C_GetInfo>, CK_INFO* info);
CK_RV act(State& state, Of<Function::C_GetFunctionList>, CK_FUNCTION_LIST** list);
CK_RV act(State& state, Of<Function::C_GetSlotList>, CK_BBOOL tokenPresent, CK_SLOT_ID* list, CK_ULONG* room);
CK_RV act(State& state, Of<Function::C_GetSlotInfo>, CK_SLOT_ID id, CK_SLOT_INFO* info);
CK_RV act(State& state, Of<Function::C_GetTokenInfo>, CK_SLOT_ID id, CK_TOKEN_INFO* info);

// PINs
CK_RV act(State& state, Of<Function::C_InitToken>, CK_SLOT_ID id, CK_BYTE* pin, CK_ULONG length, CK_BYTE* label);
CK_RV act(State& state, Of<Function::C_InitPIN>, CK_SESSION_HANDLE handle, CK_BYTE* pin, CK_ULONG length);
CK_RV act(State& state, Of<Function::C_SetPIN>, CK_SESSION_HANDLE handle, CK_BYTE* oldPin, CK_ULONG oldLength,
          CK_BYTE* newPin, CK_ULONG newLength);
CK_RV act(State& state, Of<Function::C_Login>, CK_SESSION_HANDLE handle, CK_USER_TYPE userType, CK_BYTE* pin,
          CK_ULONG length);
CK_RV act(State& state, Of<Function::C_Logout>, CK_SESSION_HANDLE handle);

// Sessions
CK_RV act(State& state, Of<Function::C_OpenSession>, CK_SLOT_ID id, CK_FLAGS flags, CK_VOID_PTR application,
          CK_NOTIFY notify, CK_SESSION_HANDLE* handle);
CK_RV act(State& state, Of<Function::C_CloseSession>, CK_SESSION_HANDLE handle);
CK_RV act(State& state, Of<Function::C_CloseAllSessions>, CK_SLOT_ID id);
CK_RV act(State& state, Of<Function::C_GetSessionInfo>, CK_SESSION_HANDLE handle, CK_SESSION_INFO* info);

// Objects
CK_RV act(State& state, Of<Function::C_CreateObject>, CK_SESSION_HANDLE handle, CK_ATTRIBUTE* entries, CK_ULONG count,
          CK_OBJECT_HANDLE* object);
CK_RV act(State& state, Of<Function::C_DestroyObject>, CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE object);
CK_RV act(State& state, Of<Function::C_GetAttributeValue>, CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE object,
          CK_ATTRIBUTE* entries, CK_ULONG count);
CK_RV act(State& state, Of<Function::C_SetAttributeValue>, CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE object,
          CK_ATTRIBUTE* entries, CK_ULONG count);
CK_RV act(State& state, Of<Function::C_FindObjectsInit>, CK_SESSION_HANDLE handle, CK_ATTRIBUTE* entries,
          CK_ULONG count);
CK_RV act(State& state, Of<Function::C_FindObjects>, CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE* found, CK_ULONG room,
          CK_ULONG* foundCount);
CK_RV act(State& state, Of<Function::C_FindObjectsFinal>, CK_SESSION_HANDLE handle);

// Keys
CK_RV act(State& state, Of<Function::C_GenerateKeyPair>, CK_SESSION_HANDLE handle, CK_MECHANISM* mechanism,
          CK_ATTRIBUTE* publicEntries, CK_ULONG publicCount, CK_ATTRIBUTE* privateEntries, CK_ULONG privateCount,
          CK_OBJECT_HANDLE* publicKey, CK_OBJECT_HANDLE* privateKey);
CK_RV act(State& state, Of<Function::C_SignInit>, CK_SESSION_HANDLE handle, CK_MECHANISM* mechanism,
          CK_OBJECT_HANDLE key);
CK_RV act(State& state, Of<Function::C_Sign>, CK_SESSION_HANDLE handle, CK_BYTE* data, CK_ULONG dataLength,
          CK_BYTE* signature, CK_ULONG* signatureLength);

/// Reads a template into an object, checking each entry and that none is there twice.
CK_RV readTemplate(const CK_ATTRIBUTE* entries, CK_ULONG count, Object& object);
/// Completes an object whose template was read (owner, CKA_TOKEN, CKA_PRIVATE, CKA_MODIFIABLE) and checks that this
/// session may create it.
CK_RV placeObject(State& state, const Session& session, Object& object, bool privateByDefault);

} // namespace Fake
