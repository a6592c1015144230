#include "tests/fake/module/CallText.h"

namespace Fake {

namespace {

std::string userText(CK_USER_TYPE type) {
    switch (type) {
    case CKU_SO:
        return "CKU_SO";
    case CKU_USER:
        return "CKU_USER";
    case CKU_CONTEXT_SPECIFIC:
        return "CKU_CONTEXT_SPECIFIC";
    default:
        return handleText(type);
    }
}

std::string mechanismName(CK_MECHANISM_TYPE type) {
    switch (type) {
#define ENTRY(name)                                                                                                    \
    case name:                                                                                                         \
        return #name;
        ENTRY(CKM_RSA_PKCS_KEY_PAIR_GEN)
        ENTRY(CKM_RSA_PKCS)
        ENTRY(CKM_RSA_X_509)
        ENTRY(CKM_SHA1_RSA_PKCS)
        ENTRY(CKM_SHA256_RSA_PKCS)
        ENTRY(CKM_SHA384_RSA_PKCS)
        ENTRY(CKM_SHA512_RSA_PKCS)
#undef ENTRY
    default:
        return handleText(type);
    }
}

} // namespace

CallText& CallText::add(std::string_view argument) {
    m_text += m_hasArgument ? ", " : "";
    m_text += argument;
    m_hasArgument = true;
    return *this;
}

CallText& CallText::named(std::string_view name, std::string_view argument) {
    add(name);
    m_text += '=';
    m_text += argument;
    return *this;
}

CallText& CallText::mechanism(const CK_MECHANISM* mechanism) {
    if (mechanism == nullptr) {
        return add("null");
    }
    std::string text = mechanismName(mechanism->mechanism);
    if (mechanism->pParameter != nullptr || mechanism->ulParameterLen != 0) {
        text += '(';
        text += bytesText(mechanism->pParameter, mechanism->ulParameterLen);
        text += ')';
    }
    return add(text);
}

CallText& CallText::output(const void* pointer) {
    return pointer == nullptr ? add("null") : *this;
}

CallText& CallText::room(const void* array, const CK_ULONG* room) {
    if (array == nullptr) {
        add("null");
    } else if (room != nullptr) {
        named("room", decimalText(*room));
    } else {
        add("room");
    }
    return output(room);
}

void describe(CallText& text, Of<Function::C_Initialize>, CK_VOID_PTR arguments) {
    const auto* args = static_cast<const CK_C_INITIALIZE_ARGS*>(arguments);
    if (args == nullptr) {
        text.add("null");
        return;
    }
    text.named("flags", handleText(args->flags));
    if (args->CreateMutex != nullptr || args->DestroyMutex != nullptr || args->LockMutex != nullptr ||
        args->UnlockMutex != nullptr) {
        text.add("mutexes");
    }
    if (args->pReserved != nullptr) {
        text.add("reserved");
    }
}

void describe(CallText& text, Of<Function::C_Finalize>, CK_VOID_PTR extra) {
    text.add(extra == nullptr ? "null" : "reserved");
}

void describe(CallText& text, Of<Function::C_GetInfo>, CK_INFO* info) {
    text.output(info);
}

void describe(CallText& text, Of<Function::C_GetFunctionList>, CK_FUNCTION_LIST** list) {
    text.output(list);
}

void describe(CallText& text, Of<Function::C_GetSlotList>, CK_BBOOL tokenPresent, CK_SLOT_ID* list, CK_ULONG* room) {
    text.add(std::to_string(tokenPresent)).room(list, room);
}

void describe(CallText& text, Of<Function::C_GetSlotInfo>, CK_SLOT_ID slot, CK_SLOT_INFO* info) {
    text.handle(slot).output(info);
}

void describe(CallText& text, Of<Function::C_GetTokenInfo>, CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
    text.handle(slot).output(info);
}

void describe(CallText& text, Of<Function::C_InitToken>, CK_SLOT_ID slot, CK_BYTE* pin, CK_ULONG length,
              CK_BYTE* label) {
    constexpr CK_ULONG kLabelLength = 32;
    text.handle(slot).bytes(pin, length);
    text.named("label", label == nullptr ? std::string("null") : bytesText(label, kLabelLength));
}

void describe(CallText& text, Of<Function::C_InitPIN>, CK_SESSION_HANDLE session, CK_BYTE* pin, CK_ULONG length) {
    text.handle(session).bytes(pin, length);
}

void describe(CallText& text, Of<Function::C_SetPIN>, CK_SESSION_HANDLE session, CK_BYTE* oldPin, CK_ULONG oldLength,
              CK_BYTE* newPin, CK_ULONG newLength) {
    text.handle(session).bytes(oldPin, oldLength).bytes(newPin, newLength);
}

void describe(CallText& text, Of<Function::C_Login>, CK_SESSION_HANDLE session, CK_USER_TYPE userType, CK_BYTE* pin,
              CK_ULONG length) {
    text.handle(session).add(userText(userType)).bytes(pin, length);
}

void describe(CallText& text, Of<Function::C_Logout>, CK_SESSION_HANDLE session) {
    text.handle(session);
}

void describe(CallText& text, Of<Function::C_OpenSession>, CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR application,
              CK_NOTIFY notify, CK_SESSION_HANDLE* session) {
    text.handle(slot).named("flags", handleText(flags));
    if (application != nullptr) {
        text.add("application");
    }
    if (notify != nullptr) {
        text.add("notify");
    }
    text.output(session);
}

void describe(CallText& text, Of<Function::C_CloseSession>, CK_SESSION_HANDLE session) {
    text.handle(session);
}

void describe(CallText& text, Of<Function::C_CloseAllSessions>, CK_SLOT_ID slot) {
    text.handle(slot);
}

void describe(CallText& text, Of<Function::C_GetSessionInfo>, CK_SESSION_HANDLE session, CK_SESSION_INFO* info) {
    text.handle(session).output(info);
}

void describe(CallText& text, Of<Function::C_CreateObject>, CK_SESSION_HANDLE session, CK_ATTRIBUTE* list,
              CK_ULONG length, CK_OBJECT_HANDLE* object) {
    text.handle(session).entries(list, length).output(object);
}

void describe(CallText& text, Of<Function::C_DestroyObject>, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
    text.handle(session).handle(object);
}

void describe(CallText& text, Of<Function::C_GetAttributeValue>, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
              CK_ATTRIBUTE* list, CK_ULONG length) {
    text.handle(session).handle(object).entries(list, length, Pass::Asked);
}

void describe(CallText& text, Of<Function::C_SetAttributeValue>, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
              CK_ATTRIBUTE* list, CK_ULONG length) {
    text.handle(session).handle(object).entries(list, length);
}

void describe(CallText& text, Of<Function::C_FindObjectsInit>, CK_SESSION_HANDLE session, CK_ATTRIBUTE* list,
              CK_ULONG length) {
    text.handle(session).entries(list, length);
}

void describe(CallText& text, Of<Function::C_FindObjects>, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* found,
              CK_ULONG room, CK_ULONG* foundCount) {
    text.handle(session).named("max", decimalText(room));
    if (found == nullptr || foundCount == nullptr) {
        text.add("null");
    }
}

void describe(CallText& text, Of<Function::C_FindObjectsFinal>, CK_SESSION_HANDLE session) {
    text.handle(session);
}

void describe(CallText& text, Of<Function::C_GenerateKeyPair>, CK_SESSION_HANDLE session, CK_MECHANISM* mechanism,
              CK_ATTRIBUTE* publicList, CK_ULONG publicLength, CK_ATTRIBUTE* privateList, CK_ULONG privateLength,
              CK_OBJECT_HANDLE* publicKey, CK_OBJECT_HANDLE* privateKey) {
    text.handle(session).mechanism(mechanism).entries(publicList, publicLength).entries(privateList, privateLength);
    if (publicKey == nullptr || privateKey == nullptr) {
        text.add("null");
    }
}

void describe(CallText& text, Of<Function::C_SignInit>, CK_SESSION_HANDLE session, CK_MECHANISM* mechanism,
              CK_OBJECT_HANDLE key) {
    text.handle(session).mechanism(mechanism).handle(key);
}

void describe(CallText& text, Of<Function::C_Sign>, CK_SESSION_HANDLE session, CK_BYTE* data, CK_ULONG dataLength,
              CK_BYTE* signature, CK_ULONG* signatureLength) {
    text.handle(session).bytes(data, dataLength).room(signature, signatureLength);
}

} // namespace Fake
