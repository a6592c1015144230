// A module in C++ that lets its exceptions out. Its classes and their tables are its own: whoever holds one of its
// exceptions when it is unloaded holds nothing.

#include "tests/faults/module/Throws.h"

#include "cryptoki/cryptoki.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

namespace {

class OwnClass {
public:
    explicit OwnClass(const char* text) : m_text(text) {}
    OwnClass(const OwnClass&) = default;
    OwnClass& operator=(const OwnClass&) = default;
    virtual ~OwnClass() { m_text.clear(); }

private:
    std::string m_text;
};

class OwnBadAlloc : public std::bad_alloc {
public:
    [[nodiscard]] const char* what() const noexcept override { return "no memory for a card"; }
};

const char* thrower = "";
Thrown thrown = Thrown::Nothing;
bool isFound = false;

void call(const char* function) {
    if (std::strcmp(function, thrower) != 0) {
        return;
    }
    switch (thrown) {
    case Thrown::Nothing:
        return;
    case Thrown::BadAlloc:
        throw std::bad_alloc();
    case Thrown::RuntimeError:
        throw std::runtime_error("a card that is longer than any text that stands in the object itself");
    case Thrown::Number:
        throw 5;
    case Thrown::OwnClass:
        throw OwnClass("a card that is longer than any text that stands in the object itself");
    case Thrown::OwnBadAlloc:
        throw OwnBadAlloc();
    }
}

CK_RV onInitialize(void*) {
    call("C_Initialize");
    return CKR_OK;
}

CK_RV onFinalize(void*) {
    call("C_Finalize");
    return CKR_OK;
}

CK_RV onGetInfo(CK_INFO*) {
    call("C_GetInfo");
    return CKR_OK;
}

CK_RV onGetSlotList(CK_BBOOL, CK_SLOT_ID* list, CK_ULONG* count) {
    call("C_GetSlotList");
    *count = 1;
    if (list != nullptr) {
        list[0] = 1;
    }
    return CKR_OK;
}

CK_RV onGetSlotInfo(CK_SLOT_ID, CK_SLOT_INFO* info) {
    call("C_GetSlotInfo");
    std::memset(info, ' ', sizeof *info);
    info->slotDescription[0] = 'R';
    return CKR_OK;
}

CK_RV onGetTokenInfo(CK_SLOT_ID, CK_TOKEN_INFO* info) {
    call("C_GetTokenInfo");
    info->flags = CKF_TOKEN_INITIALIZED;
    return CKR_OK;
}

CK_RV onInitToken(CK_SLOT_ID, CK_BYTE*, CK_ULONG, CK_BYTE*) {
    call("C_InitToken");
    return CKR_OK;
}

CK_RV onInitPIN(CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG) {
    call("C_InitPIN");
    return CKR_OK;
}

CK_RV onSetPIN(CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG) {
    call("C_SetPIN");
    return CKR_OK;
}

CK_RV onOpenSession(CK_SLOT_ID, CK_FLAGS, void*, CK_NOTIFY, CK_SESSION_HANDLE* session) {
    call("C_OpenSession");
    *session = 1;
    return CKR_OK;
}

CK_RV onCloseSession(CK_SESSION_HANDLE) {
    call("C_CloseSession");
    return CKR_OK;
}

CK_RV onGetSessionInfo(CK_SESSION_HANDLE, CK_SESSION_INFO* info) {
    call("C_GetSessionInfo");
    info->state = CKS_RW_USER_FUNCTIONS;
    return CKR_OK;
}

CK_RV onLogin(CK_SESSION_HANDLE, CK_USER_TYPE, CK_BYTE*, CK_ULONG) {
    call("C_Login");
    return CKR_OK;
}

CK_RV onLogout(CK_SESSION_HANDLE) {
    call("C_Logout");
    return CKR_OK;
}

CK_RV onCreateObject(CK_SESSION_HANDLE, CK_ATTRIBUTE*, CK_ULONG, CK_OBJECT_HANDLE* object) {
    call("C_CreateObject");
    *object = 1;
    return CKR_OK;
}

CK_RV onDestroyObject(CK_SESSION_HANDLE, CK_OBJECT_HANDLE) {
    call("C_DestroyObject");
    return CKR_OK;
}

CK_RV onGetAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
    call("C_GetAttributeValue");
    list[0].ulValueLen = 0;
    return CKR_OK;
}

CK_RV onSetAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE*, CK_ULONG) {
    call("C_SetAttributeValue");
    return CKR_OK;
}

CK_RV onFindObjectsInit(CK_SESSION_HANDLE, CK_ATTRIBUTE*, CK_ULONG) {
    call("C_FindObjectsInit");
    isFound = false;
    return CKR_OK;
}

CK_RV onFindObjects(CK_SESSION_HANDLE, CK_OBJECT_HANDLE* object, CK_ULONG, CK_ULONG* count) {
    call("C_FindObjects");
    *object = 1;
    *count = isFound ? 0 : 1;
    isFound = true;
    return CKR_OK;
}

CK_RV onFindObjectsFinal(CK_SESSION_HANDLE) {
    call("C_FindObjectsFinal");
    return CKR_OK;
}

CK_RV onSignInit(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE) {
    call("C_SignInit");
    return CKR_OK;
}

CK_RV onSign(CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG* length) {
    call("C_Sign");
    *length = 1;
    return CKR_OK;
}

CK_RV onGenerateKeyPair(CK_SESSION_HANDLE, CK_MECHANISM*, CK_ATTRIBUTE*, CK_ULONG, CK_ATTRIBUTE*, CK_ULONG,
                        CK_OBJECT_HANDLE* publicKey, CK_OBJECT_HANDLE* privateKey) {
    call("C_GenerateKeyPair");
    *publicKey = 1;
    *privateKey = 2;
    return CKR_OK;
}

CK_FUNCTION_LIST makeList() {
    CK_FUNCTION_LIST list{};
    list.version = {2, 40};
    list.C_Initialize = onInitialize;
    list.C_Finalize = onFinalize;
    list.C_GetInfo = onGetInfo;
    list.C_GetSlotList = onGetSlotList;
    list.C_GetSlotInfo = onGetSlotInfo;
    list.C_GetTokenInfo = onGetTokenInfo;
    list.C_InitToken = onInitToken;
    list.C_InitPIN = onInitPIN;
    list.C_SetPIN = onSetPIN;
    list.C_OpenSession = onOpenSession;
    list.C_CloseSession = onCloseSession;
    list.C_GetSessionInfo = onGetSessionInfo;
    list.C_Login = onLogin;
    list.C_Logout = onLogout;
    list.C_CreateObject = onCreateObject;
    list.C_DestroyObject = onDestroyObject;
    list.C_GetAttributeValue = onGetAttributeValue;
    list.C_SetAttributeValue = onSetAttributeValue;
    list.C_FindObjectsInit = onFindObjectsInit;
    list.C_FindObjects = onFindObjects;
    list.C_FindObjectsFinal = onFindObjectsFinal;
    list.C_SignInit = onSignInit;
    list.C_Sign = onSign;
    list.C_GenerateKeyPair = onGenerateKeyPair;
    return list;
}

CK_FUNCTION_LIST functions = makeList();

} // namespace

extern "C" {

ZEL_EXPORT void throwFrom(const char* function, Thrown what) {
    thrower = function;
    thrown = what;
}

ZEL_EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    call("C_GetFunctionList");
    *list = &functions;
    call("C_GetFunctionList, late");
    return CKR_OK;
}
}
