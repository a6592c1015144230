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
using CK_C_LoginUser = CK_RV (*)(CK_SESSION_HANDLE, CK_USER_TYPE, CK_UTF8CHAR*, CK_ULONG, CK_UTF8CHAR*, CK_ULONG);
using CK_C_SessionCancel = CK_RV (*)(CK_SESSION_HANDLE, CK_FLAGS);
using CK_C_MessageEncryptInit = CK_RV (*)(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);
using CK_C_EncryptMessage = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG,
                                      CK_BYTE*, CK_ULONG*);
using CK_C_EncryptMessageBegin = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG);
using CK_C_EncryptMessageNext = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG*,
                                          CK_FLAGS);
using CK_C_MessageEncryptFinal = CK_RV (*)(CK_SESSION_HANDLE);
using CK_C_MessageDecryptInit = CK_RV (*)(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);
using CK_C_DecryptMessage = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG,
                                      CK_BYTE*, CK_ULONG*);
using CK_C_DecryptMessageBegin = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG);
using CK_C_DecryptMessageNext = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG*,
                                          CK_FLAGS);
using CK_C_MessageDecryptFinal = CK_RV (*)(CK_SESSION_HANDLE);
using CK_C_MessageSignInit = CK_RV (*)(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);
using CK_C_SignMessage = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG*);
using CK_C_SignMessageBegin = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG);
using CK_C_SignMessageNext = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG*);
using CK_C_MessageSignFinal = CK_RV (*)(CK_SESSION_HANDLE);
using CK_C_MessageVerifyInit = CK_RV (*)(CK_SESSION_HANDLE, CK_MECHANISM*, CK_OBJECT_HANDLE);
using CK_C_VerifyMessage = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG);
using CK_C_VerifyMessageBegin = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG);
using CK_C_VerifyMessageNext = CK_RV (*)(CK_SESSION_HANDLE, void*, CK_ULONG, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG);
using CK_C_MessageVerifyFinal = CK_RV (*)(CK_SESSION_HANDLE);
} // extern "C"

/// The functions behind those of version 2.40, in the standard's order.
struct CK_FUNCTIONS_3_0 {
    CK_C_GetInterfaceList C_GetInterfaceList;
    CK_C_GetInterface C_GetInterface;
    CK_C_LoginUser C_LoginUser;
    CK_C_SessionCancel C_SessionCancel;
    CK_C_MessageEncryptInit C_MessageEncryptInit;
    CK_C_EncryptMessage C_EncryptMessage;
    CK_C_EncryptMessageBegin C_EncryptMessageBegin;
    CK_C_EncryptMessageNext C_EncryptMessageNext;
    CK_C_MessageEncryptFinal C_MessageEncryptFinal;
    CK_C_MessageDecryptInit C_MessageDecryptInit;
    CK_C_DecryptMessage C_DecryptMessage;
    CK_C_DecryptMessageBegin C_DecryptMessageBegin;
    CK_C_DecryptMessageNext C_DecryptMessageNext;
    CK_C_MessageDecryptFinal C_MessageDecryptFinal;
    CK_C_MessageSignInit C_MessageSignInit;
    CK_C_SignMessage C_SignMessage;
    CK_C_SignMessageBegin C_SignMessageBegin;
    CK_C_SignMessageNext C_SignMessageNext;
    CK_C_MessageSignFinal C_MessageSignFinal;
    CK_C_MessageVerifyInit C_MessageVerifyInit;
    CK_C_VerifyMessage C_VerifyMessage;
    CK_C_VerifyMessageBegin C_VerifyMessageBegin;
    CK_C_VerifyMessageNext C_VerifyMessageNext;
    CK_C_MessageVerifyFinal C_MessageVerifyFinal;
};

struct CK_FUNCTION_LIST_3_0 {
    CK_FUNCTION_LIST base;
    CK_FUNCTIONS_3_0 added;
};

#if defined(_WIN32)
#pragma pack(pop, cryptoki_version3)
static_assert(sizeof(CK_INTERFACE) == 20);
#endif
static_assert(sizeof(CK_FUNCTION_LIST_3_0) == sizeof(CK_FUNCTION_LIST) + 24 * sizeof(void*));
