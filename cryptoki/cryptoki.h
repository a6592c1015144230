#pragma once

// The one place where the PKCS#11 header is included: plain Cryptoki types, packed to 1 byte on Windows, with
// the system's `unsigned long` as CK_ULONG (32 bits on Windows, 64 on Linux).

// First, because on Windows the header below would pack the standard library's own types with its structures.
#include <cstddef>

#include <p11-kit/pkcs11.h>

/// "No slot" and "no session": all bits of the type set.
inline constexpr CK_SLOT_ID kNoSlot = static_cast<CK_SLOT_ID>(-1);
inline constexpr CK_SESSION_HANDLE kNoSession = static_cast<CK_SESSION_HANDLE>(-1);

#if defined(_WIN32)
static_assert(sizeof(CK_ULONG) == 4);
static_assert(sizeof(CK_ATTRIBUTE) == 16);
static_assert(sizeof(CK_MECHANISM) == 16);
static_assert(sizeof(CK_C_INITIALIZE_ARGS) == 44);
static_assert(sizeof(CK_INFO) == 72);
static_assert(sizeof(CK_SLOT_INFO) == 104);
static_assert(sizeof(CK_TOKEN_INFO) == 160);
static_assert(sizeof(CK_FUNCTION_LIST) == 546);
static_assert(offsetof(CK_FUNCTION_LIST, C_Initialize) == 2);
#endif
