#include "bench/noop/Control.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

// A PKCS#11 module whose every function answers at once with canned data: what is measured on it is the caller.

namespace {

NoopControl g_control;
CK_ULONG g_found = 0; ///< by the search under way

constexpr CK_ULONG kSignatureLength = 256;
constexpr CK_ULONG kCertificateLength = 1024;

void count(const char* name) {
    g_control.names[g_control.calls++ % NoopControl::kRecorded] = name;
}

template <std::size_t Size>
void fillPadded(CK_UTF8CHAR (&field)[Size], const char* text) {
    std::memset(field, ' ', Size);
    std::memcpy(field, text, std::min(Size, std::strlen(text)));
}

CK_RV initialize(void*) {
    count("C_Initialize");
    if (const char* const slots = std::getenv("P11NOOP_SLOTS")) {
        g_control.slots = std::strtoul(slots, nullptr, 10);
    }
    return CKR_OK;
}

CK_RV finalize(void*) {
    count("C_Finalize");
    return CKR_OK;
}

CK_RV getInfo(CK_INFO* info) {
    count("C_GetInfo");
    *info = {};
    return CKR_OK;
}

CK_RV getSlotList(CK_BBOOL, CK_SLOT_ID* slots, CK_ULONG* slotCount) {
    count("C_GetSlotList");
    for (CK_ULONG i = 0; slots != nullptr && i < g_control.slots; ++i) {
        slots[i] = i;
    }
    *slotCount = g_control.slots;
    return CKR_OK;
}

CK_RV getSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO* info) {
    count("C_GetSlotInfo");
    fillPadded(info->slotDescription, "Reader 000");
    for (std::size_t at = 9; slot != 0; slot /= 10) {
        info->slotDescription[at--] = static_cast<CK_UTF8CHAR>('0' + slot % 10);
    }
    fillPadded(info->manufacturerID, "Nobody");
    return CKR_OK;
}

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
    count("C_GetTokenInfo");
    if (slot >= g_control.slots) {
        return CKR_SLOT_ID_INVALID;
    }
    fillPadded(info->label, "Nothing");
    fillPadded(info->manufacturerID, "Nobody");
    fillPadded(info->model, "None");
    std::memset(info->serialNumber, '0', sizeof info->serialNumber);
    info->flags = CKF_TOKEN_INITIALIZED | CKF_USER_PIN_INITIALIZED;
    return CKR_OK;
}

CK_RV initToken(CK_SLOT_ID, CK_UTF8CHAR*, CK_ULONG, CK_UTF8CHAR*) {
    count("C_InitToken");
    return CKR_OK;
}

CK_RV initPIN(CK_SESSION_HANDLE, CK_UTF8CHAR*, CK_ULONG) {
    count("C_InitPIN");
    return CKR_OK;
}

CK_RV setPIN(CK_SESSION_HANDLE, CK_UTF8CHAR*, CK_ULONG, CK_UTF8CHAR*, CK_ULONG) {
    count("C_SetPIN");
    return CKR_OK;
}

CK_RV openSession(CK_SLOT_ID, CK_FLAGS, void*, CK_NOTIFY, CK_SESSION_HANDLE* session) {
    count("C_OpenSession");
    *session = 1;
    return CKR_OK;
}

CK_RV closeSession(CK_SESSION_HANDLE) {
    count("C_CloseSession");
    return CKR_OK;
}

CK_RV getSessionInfo(CK_SESSION_HANDLE, CK_SESSION_INFO* info) {
    count("C_GetSessionInfo");
    *info = {0, g_control.state, CKF_RW_SESSION | CKF_SERIAL_SESSION, 0};
    return CKR_OK;
}

CK_RV login(CK_SESSION_HANDLE, CK_USER_TYPE, CK_UTF8CHAR*, CK_ULONG) {
    count("C_Login");
    return CKR_OK;
}

CK_RV logout(CK_SESSION_HANDLE) {
    count("C_Logout");
    return CKR_OK;
}

CK_RV createObject(CK_SESSION_HANDLE, CK_ATTRIBUTE*, CK_ULONG, CK_OBJECT_HANDLE* object) {
    count("C_CreateObject");
    *object = 1;
    return CKR_OK;
}

CK_RV destroyObject(CK_SESSION_HANDLE, CK_OBJECT_HANDLE) {
    count("C_DestroyObject");
    return CKR_OK;
}

CK_ULONG lengthOf(CK_ATTRIBUTE_TYPE type) {
    switch (type) {
    case CKA_VALUE:
        return kCertificateLength;
    case CKA_MODULUS:
        return kSignatureLength;
    case CKA_PUBLIC_EXPONENT:
        return 3;
    default:
        return 0;
    }
}

CK_RV getAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* attributes, CK_ULONG attributeCount) {
    count("C_GetAttributeValue");
    for (CK_ATTRIBUTE* at = attributes; at != attributes + attributeCount; ++at) {
        at->ulValueLen = lengthOf(at->type);
        if (at->pValue != nullptr) {
            std::memset(at->pValue, 0x5A, at->ulValueLen);
        }
    }
    return CKR_OK;
}

CK_RV setAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE*, CK_ULONG) {
    count("C_SetAttributeValue");
    return CKR_OK;
}

CK_RV findObjectsInit(CK_SESSION_HANDLE, CK_ATTRIBUTE*, CK_ULONG) {
    count("C_FindObjectsInit");
    g_found = 0;
    return CKR_OK;
}

CK_RV findObjects(CK_SESSION_HANDLE, CK_OBJECT_HANDLE* objects, CK_ULONG, CK_ULONG* objectCount) {
    count("C_FindObjects");
    *objectCount = g_found < g_control.objects ? 1 : 0;
    if (*objectCount == 1) {
        *objects = ++g_found;
    }
    return CKR_OK;
}

CK_RV findObjectsFinal(CK_SESSION_HANDLE) {
    count("C_FindObjectsFinal");
    return CKR_OK;
}

CK_RV signInit(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE) {
    count("C_SignInit");
    return CKR_OK;
}

CK_RV sign(CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE* signature, CK_ULONG* length) {
    count("C_Sign");
    if (signature != nullptr) {
        std::memset(signature, 0xA5, kSignatureLength);
    }
    *length = kSignatureLength;
    return CKR_OK;
}

CK_RV generateKeyPair(CK_SESSION_HANDLE, CK_MECHANISM*, CK_ATTRIBUTE*, CK_ULONG, CK_ATTRIBUTE*, CK_ULONG,
                      CK_OBJECT_HANDLE* publicKey, CK_OBJECT_HANDLE* privateKey) {
    count("C_GenerateKeyPair");
    *publicKey = 1;
    *privateKey = 2;
    return CKR_OK;
}

/// What is not here is not there: the plug-in does not call it.
CK_FUNCTION_LIST makeFunctionList() {
    CK_FUNCTION_LIST list{};
    list.version = {2, 40};
    list.C_Initialize = initialize;
    list.C_Finalize = finalize;
    list.C_GetInfo = getInfo;
    list.C_GetSlotList = getSlotList;
    list.C_GetSlotInfo = getSlotInfo;
    list.C_GetTokenInfo = getTokenInfo;
    list.C_InitToken = initToken;
    list.C_InitPIN = initPIN;
    list.C_SetPIN = setPIN;
    list.C_OpenSession = openSession;
    list.C_CloseSession = closeSession;
    list.C_GetSessionInfo = getSessionInfo;
    list.C_Login = login;
    list.C_Logout = logout;
    list.C_CreateObject = createObject;
    list.C_DestroyObject = destroyObject;
    list.C_GetAttributeValue = getAttributeValue;
    list.C_SetAttributeValue = setAttributeValue;
    list.C_FindObjectsInit = findObjectsInit;
    list.C_FindObjects = findObjects;
    list.C_FindObjectsFinal = findObjectsFinal;
    list.C_SignInit = signInit;
    list.C_Sign = sign;
    list.C_GenerateKeyPair = generateKeyPair;
    return list;
}

CK_FUNCTION_LIST g_functionList = makeFunctionList();

} // namespace

extern "C" {

__attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    *list = &g_functionList;
    return CKR_OK;
}

__attribute__((visibility("default"))) NoopControl* noopControl() {
    return &g_control;
}

} // extern "C"
