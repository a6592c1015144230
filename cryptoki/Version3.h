#pragma once

#include "cryptoki/cryptoki.h"

// What version 3.0 of the standard adds to the function list, and interfaces; the header that cryptoki.h includes is
// older.

#if defined(_WIN32)
#pragma pack(push, cryptoki_version3, 1)
#endif

struct CK_INTERFACE {
    CK_UTF8CHAR* pInterfaceName;
    void* pFunctionList;
    CK_FLAGS flags;
};

inline constexpr CK_FLAGS CKF_INTERFACE_FORK_SAFE = 1;

extern "C" {
using CK_C_GetInterfaceList = CK_RV (*)(CK_INTERFACE*, CK_ULONG*);
using CK_C_GetInterface = CK_RV (*)(CK_UTF8CHAR*, CK_VERSION*, CK_INTERFACE**, CK_FLAGS);

/// The functions behind those of version 2.40, in the standard's order.
struct CK_FUNCTIONS_3_0 {
    CK_C_GetInterfaceList C_GetInterfaceList;
    CK_C_GetInterface C_GetInterface;
    CK_RV (*C_LoginUser)(CK_SESSION_HANDLE, CK_USER_TYPE, CK_UTF8CHAR*, CK_ULONG, CK_UTF8CHAR*, CK_ULONG);
    CK_RV (*C_SessionCancel)(CK_SESSION_HANDLE, CK_FLAGS);
    CK_RV (*C_MessageEncryptInit)(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);
    CK_RV (*C_EncryptMessage)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*,
                              CK_ULONG*);
    CK_RV (*C_EncryptMessageBegin)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG);
    CK_RV (*C_EncryptMessageNext)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG*,
                                  CK_FLAGS);
    CK_RV (*C_MessageEncryptFinal)(CK_SESSION_HANDLE);
    CK_RV (*C_MessageDecryptInit)(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);
    CK_RV (*C_DecryptMessage)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*,
                              CK_ULONG*);
    CK_RV (*C_DecryptMessageBegin)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG);
    CK_RV (*C_DecryptMessageNext)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG*,
                                  CK_FLAGS);
    CK_RV (*C_MessageDecryptFinal)(CK_SESSION_HANDLE);
    CK_RV (*C_MessageSignInit)(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);
    CK_RV (*C_SignMessage)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG*);
    CK_RV (*C_SignMessageBegin)(CK_SESSION_HANDLE, void*, CK_ULONG);
    CK_RV (*C_SignMessageNext)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG*);
    CK_RV (*C_MessageSignFinal)(CK_SESSION_HANDLE);
    CK_RV (*C_MessageVerifyInit)(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);
    CK_RV (*C_VerifyMessage)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG);
    CK_RV (*C_VerifyMessageBegin)(CK_SESSION_HANDLE, void*, CK_ULONG);
    CK_RV (*C_VerifyMessageNext)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG);
    CK_RV (*C_MessageVerifyFinal)(CK_SESSION_HANDLE);
};
} // extern "C"

struct CK_FUNCTION_LIST_3_0 {
    CK_FUNCTION_LIST base;
    CK_FUNCTIONS_3_0 added;
};

#if defined(_WIN32)
#pragma pack(pop, cryptoki_version3)
static_assert(sizeof(CK_INTERFACE) == 20);
#endif
static_assert(sizeof(CK_FUNCTION_LIST_3_0) == sizeof(CK_FUNCTION_LIST) + 24 * sizeof(void*));
