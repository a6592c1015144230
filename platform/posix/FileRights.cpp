#include "platform/FileRights.h"

#include <grp.h>
#include <new>
#include <pwd.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace platform {

namespace {

constexpr std::size_t kRoom = 16384; // for an entry of the users or the groups; a larger one is not the owner's alone

/// Many systems give each user a group of their own, and let new files be written by it.
bool isGroupOfOwnerAlone(const struct stat& status) {
    std::vector<char> userRoom(kRoom);
    struct passwd user = {};
    struct passwd* foundUser = nullptr;
    ::getpwuid_r(status.st_uid, &user, userRoom.data(), userRoom.size(), &foundUser);
    std::vector<char> groupRoom(kRoom);
    struct group group = {};
    struct group* foundGroup = nullptr;
    ::getgrgid_r(status.st_gid, &group, groupRoom.data(), groupRoom.size(), &foundGroup);
    if (foundUser == nullptr || foundGroup == nullptr) {
        return false;
    }
    const std::string_view owner = user.pw_name;
    char** member = group.gr_mem;
    while (*member != nullptr && owner == *member) {
        ++member;
    }
    return user.pw_gid == status.st_gid && owner == group.gr_name && *member == nullptr;
}

bool mayGroupChange(const struct stat& status) noexcept {
    if ((status.st_mode & S_IWGRP) == 0 || status.st_gid == 0) { // the group of the administrators is no other
        return false;
    }
    try {
        return !isGroupOfOwnerAlone(status);
    } catch (const std::bad_alloc&) {
        return true;
    }
}

} // namespace

OthersMay othersMayChange(const std::string& path) noexcept {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        return OthersMay::Unknown;
    }
    if (S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0) {
        return OthersMay::Nothing;
    }
    return mayGroupChange(status) || (status.st_mode & S_IWOTH) != 0 ? OthersMay::Write : OthersMay::Nothing;
}

bool belongsToAnother(const std::string& path) noexcept {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && status.st_uid != 0 && status.st_uid != ::geteuid();
}

bool makePrivateFolder(const std::string& path) noexcept {
    return ::mkdir(path.c_str(), S_IRWXU) == 0;
}

} // namespace platform
