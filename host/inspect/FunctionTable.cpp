#include "host/inspect/FunctionTable.h"

#include <cstring>

namespace host {

namespace {

#define ENTRY(name)                                                                                                    \
    FunctionEntry {                                                                                                    \
#name, offsetof(CK_FUNCTION_LIST, name)                                                                        \
    }

constexpr std::array kFunctions = {
    ENTRY(C_Initialize),
    ENTRY(C_Finalize),
    ENTRY(C_GetInfo),
    ENTRY(C_GetFunctionList),
    ENTRY(C_GetSlotList),
    ENTRY(C_GetSlotInfo),
    ENTRY(C_GetTokenInfo),
    ENTRY(C_GetMechanismList),
    ENTRY(C_GetMechanismInfo),
    ENTRY(C_InitToken),
    ENTRY(C_InitPIN),
    ENTRY(C_SetPIN),
    ENTRY(C_OpenSession),
    ENTRY(C_CloseSession),
    ENTRY(C_CloseAllSessions),
    ENTRY(C_GetSessionInfo),
    ENTRY(C_GetOperationState),
    ENTRY(C_SetOperationState),
    ENTRY(C_Login),
    ENTRY(C_Logout),
    ENTRY(C_CreateObject),
    ENTRY(C_CopyObject),
    ENTRY(C_DestroyObject),
    ENTRY(C_GetObjectSize),
    ENTRY(C_GetAttributeValue),
    ENTRY(C_SetAttributeValue),
    ENTRY(C_FindObjectsInit),
    ENTRY(C_FindObjects),
    ENTRY(C_FindObjectsFinal),
    ENTRY(C_EncryptInit),
    ENTRY(C_Encrypt),
    ENTRY(C_EncryptUpdate),
    ENTRY(C_EncryptFinal),
    ENTRY(C_DecryptInit),
    ENTRY(C_Decrypt),
    ENTRY(C_DecryptUpdate),
    ENTRY(C_DecryptFinal),
    ENTRY(C_DigestInit),
    ENTRY(C_Digest),
    ENTRY(C_DigestUpdate),
    ENTRY(C_DigestKey),
    ENTRY(C_DigestFinal),
    ENTRY(C_SignInit),
    ENTRY(C_Sign),
    ENTRY(C_SignUpdate),
    ENTRY(C_SignFinal),
    ENTRY(C_SignRecoverInit),
    ENTRY(C_SignRecover),
    ENTRY(C_VerifyInit),
    ENTRY(C_Verify),
    ENTRY(C_VerifyUpdate),
    ENTRY(C_VerifyFinal),
    ENTRY(C_VerifyRecoverInit),
    ENTRY(C_VerifyRecover),
    ENTRY(C_DigestEncryptUpdate),
    ENTRY(C_DecryptDigestUpdate),
    ENTRY(C_SignEncryptUpdate),
    ENTRY(C_DecryptVerifyUpdate),
    ENTRY(C_GenerateKey),
    ENTRY(C_GenerateKeyPair),
    ENTRY(C_WrapKey),
    ENTRY(C_UnwrapKey),
    ENTRY(C_DeriveKey),
    ENTRY(C_SeedRandom),
    ENTRY(C_GenerateRandom),
    ENTRY(C_GetFunctionStatus),
    ENTRY(C_CancelFunction),
    ENTRY(C_WaitForSlotEvent),
};

#undef ENTRY

static_assert(kFunctions.size() * sizeof(void*) + offsetof(CK_FUNCTION_LIST, C_Initialize) == sizeof(CK_FUNCTION_LIST));

} // namespace

std::span<const FunctionEntry> functionTable() noexcept {
    return kFunctions;
}

std::uintptr_t addressIn(const void* list, const FunctionEntry& entry, std::ptrdiff_t shift) noexcept {
    std::uintptr_t address = 0;
    const auto offset = static_cast<std::ptrdiff_t>(entry.offset) + shift;
    std::memcpy(&address, static_cast<const char*>(list) + offset, sizeof address);
    return address;
}

} // namespace host
