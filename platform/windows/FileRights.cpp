#include "platform/FileRights.h"

#include <array>

#include <windows.h>

#include <aclapi.h>

#include "text/Utf8.h"

namespace platform {

namespace {

constexpr DWORD kChanges =
    FILE_WRITE_DATA | FILE_APPEND_DATA | DELETE | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

/// Everybody, everybody who has logged in, and the group that all accounts are in.
bool isManyPeople(PSID who) noexcept {
    return IsWellKnownSid(who, WinWorldSid) != 0 || IsWellKnownSid(who, WinAuthenticatedUserSid) != 0 ||
           IsWellKnownSid(who, WinBuiltinUsersSid) != 0;
}

bool letsManyChange(PACL list) noexcept {
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (GetAce(list, i, &entry) == 0) {
            continue;
        }
        const auto* allowed = static_cast<const ACCESS_ALLOWED_ACE*>(entry);
        const bool counts =
            allowed->Header.AceType == ACCESS_ALLOWED_ACE_TYPE && (allowed->Header.AceFlags & INHERIT_ONLY_ACE) == 0;
        if (counts && (allowed->Mask & kChanges) != 0 && isManyPeople(const_cast<DWORD*>(&allowed->SidStart))) {
            return true;
        }
    }
    return false;
}

} // namespace

OthersMay othersMayChange(const std::string& path) noexcept {
    try {
        std::wstring name = text::toWide(path);
        PACL list = nullptr;
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        if (GetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                  nullptr, &descriptor) != ERROR_SUCCESS) {
            return OthersMay::Unknown;
        }
        const bool may = list == nullptr || letsManyChange(list); // without a list everybody may do everything
        LocalFree(descriptor);
        return may ? OthersMay::Write : OthersMay::Nothing;
    } catch (const std::bad_alloc&) {
        return OthersMay::Unknown;
    }
}

bool belongsToAnother(const std::string& /*path*/) noexcept {
    return false;
}

bool makePrivateFolder(const std::string& path) noexcept {
    try {
        return CreateDirectoryW(text::toWide(path).c_str(), nullptr) != 0;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace platform
