#include "platform/windows/FileOwner.h"

#include <aclapi.h>

namespace platform {

namespace {

/// TOKEN_USER and TOKEN_OWNER are a pointer to an account that stands behind them.
bool isInToken(HANDLE token, TOKEN_INFORMATION_CLASS kind, PSID account) noexcept {
    union {
        TOKEN_USER user;
        TOKEN_OWNER owner;
        BYTE room[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    } found = {};
    DWORD length = 0;
    if (GetTokenInformation(token, kind, &found, sizeof(found), &length) == 0) {
        return false;
    }
    return EqualSid(account, kind == TokenUser ? found.user.User.Sid : found.owner.Owner) != 0;
}

/// A host may act for somebody else in this thread.
bool isOfThisThread(PSID account) noexcept {
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) == 0 &&
        OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) {
        return false;
    }
    const bool isOwn = isInToken(token, TokenUser, account) || isInToken(token, TokenOwner, account);
    CloseHandle(token);
    return isOwn;
}

bool isPrivilegedOrNobody(PSID account) noexcept {
    return IsWellKnownSid(account, WinBuiltinAdministratorsSid) != 0 ||
           IsWellKnownSid(account, WinLocalSystemSid) != 0 || IsWellKnownSid(account, WinWorldSid) != 0;
}

} // namespace

bool belongsToAnotherUser(HANDLE file) noexcept {
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr, nullptr,
                        &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    const bool isAnothers = owner != nullptr && !isPrivilegedOrNobody(owner) && !isOfThisThread(owner);
    LocalFree(descriptor);
    return isAnothers;
}

} // namespace platform
