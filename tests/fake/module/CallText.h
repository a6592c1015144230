#pragma once

#include "tests/fake/Function.h"
#include "tests/fake/TemplateText.h"
#include "tests/fake/module/Model.h"

#include <string>
#include <string_view>
#include <utility>

// One recorded call as text. The grammar is described in Fake.h.

namespace Fake {

/// Builds "C_X(a, b, c)".
class CallText {
public:
    explicit CallText(Function function) : m_text(functionName(function)) { m_text += '('; }

    CallText& add(std::string_view argument);
    CallText& handle(CK_ULONG value) { return add(handleText(value)); }
    CallText& named(std::string_view name, std::string_view argument);
    CallText& bytes(const void* data, CK_ULONG length) { return add(bytesText(data, length)); }
    CallText& entries(const CK_ATTRIBUTE* list, CK_ULONG length, Pass pass = Pass::Given) {
        return add(templateText(list, length, pass));
    }
    CallText& mechanism(const CK_MECHANISM* mechanism);
    /// "null" for an output pointer that is missing; nothing otherwise.
    CallText& output(const void* pointer);
    /// An output array with its room: "null", or "room=n".
    CallText& room(const void* array, const CK_ULONG* room);
    CallText& unknown() { return add("..."); }

    [[nodiscard]] std::string take() {
        m_text += ')';
        return std::move(m_text);
    }

private:
    std::string m_text;
    bool m_hasArgument = false;
};

/// Adds the arguments of one call.
template <Function F, class... Arguments>
void describe(CallText& text, Of<F>, Arguments...) {
    text.unknown();
}

void describe(CallText& text, Of<Function::C_Initialize>, CK_VOID_PTR arguments);
void describe(CallText& text, Of<Function::C_Finalize>, CK_VOID_PTR extra);
void describe(CallText& text, Of<Function::C_GetInfo>, CK_INFO* info);
void describe(CallText& text, Of<Function::C_GetFunctionList>, CK_FUNCTION_LIST** list);
void describe(CallText& text, Of<Function::C_GetSlotList>, CK_BBOOL tokenPresent, CK_SLOT_ID* list, CK_ULONG* room);
void describe(CallText& text, Of<Function::C_GetSlotInfo>, CK_SLOT_ID slot, CK_SLOT_INFO* info);
void describe(CallText& text, Of<Function::C_GetTokenInfo>, CK_SLOT_ID slot, CK_TOKEN_INFO* info);
void describe(CallText& text, Of<Function::C_InitToken>, CK_SLOT_ID slot, CK_BYTE* pin, CK_ULONG length,
              CK_BYTE* label);
void describe(CallText& text, Of<Function::C_InitPIN>, CK_SESSION_HANDLE session, CK_BYTE* pin, CK_ULONG length);
void describe(CallText& text, Of<Function::C_SetPIN>, CK_SESSION_HANDLE session, CK_BYTE* oldPin, CK_ULONG oldLength,
              CK_BYTE* newPin, CK_ULONG newLength);
void describe(CallText& text, Of<Function::C_Login>, CK_SESSION_HANDLE session, CK_USER_TYPE userType, CK_BYTE* pin,
              CK_ULONG length);
void describe(CallText& text, Of<Function::C_Logout>, CK_SESSION_HANDLE session);
void describe(CallText& text, Of<Function::C_OpenSession>, CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR application,
              CK_NOTIFY notify, CK_SESSION_HANDLE* session);
void describe(CallText& text, Of<Function::C_CloseSession>, CK_SESSION_HANDLE session);
void describe(CallText& text, Of<Function::C_CloseAllSessions>, CK_SLOT_ID slot);
void describe(CallText& text, Of<Function::C_GetSessionInfo>, CK_SESSION_HANDLE session, CK_SESSION_INFO* info);
void describe(CallText& text, Of<Function::C_CreateObject>, CK_SESSION_HANDLE session, CK_ATTRIBUTE* list,
              CK_ULONG length, CK_OBJECT_HANDLE* object);
void describe(CallText& text, Of<Function::C_DestroyObject>, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object);
void describe(CallText& text, Of<Function::C_GetAttributeValue>, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
              CK_ATTRIBUTE* list, CK_ULONG length);
void describe(CallText& text, Of<Function::C_SetAttributeValue>, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
              CK_ATTRIBUTE* list, CK_ULONG length);
void describe(CallText& text, Of<Function::C_FindObjectsInit>, CK_SESSION_HANDLE session, CK_ATTRIBUTE* list,
              CK_ULONG length);
void describe(CallText& text, Of<Function::C_FindObjects>, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* found,
              CK_ULONG room, CK_ULONG* foundCount);
void describe(CallText& text, Of<Function::C_FindObjectsFinal>, CK_SESSION_HANDLE session);
void describe(CallText& text, Of<Function::C_GenerateKeyPair>, CK_SESSION_HANDLE session, CK_MECHANISM* mechanism,
              CK_ATTRIBUTE* publicList, CK_ULONG publicLength, CK_ATTRIBUTE* privateList, CK_ULONG privateLength,
              CK_OBJECT_HANDLE* publicKey, CK_OBJECT_HANDLE* privateKey);
void describe(CallText& text, Of<Function::C_SignInit>, CK_SESSION_HANDLE session, CK_MECHANISM* mechanism,
              CK_OBJECT_HANDLE key);
void describe(CallText& text, Of<Function::C_Sign>, CK_SESSION_HANDLE session, CK_BYTE* data, CK_ULONG dataLength,
              CK_BYTE* signature, CK_ULONG* signatureLength);

} // namespace Fake
