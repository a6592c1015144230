#include "platform/FileRights.h"

#include <sys/stat.h>
#include <unistd.h>

namespace platform {

OthersMay othersMayChange(const std::string& path) noexcept {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        return OthersMay::Unknown;
    }
    if (S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0) {
        return OthersMay::Nothing;
    }
    // The group of the administrators is no other.
    const bool mayGroup = (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0;
    return mayGroup || (status.st_mode & S_IWOTH) != 0 ? OthersMay::Write : OthersMay::Nothing;
}

bool belongsToAnother(const std::string& path) noexcept {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && status.st_uid != 0 && status.st_uid != ::geteuid();
}

bool makePrivateFolder(const std::string& path) noexcept {
    return ::mkdir(path.c_str(), S_IRWXU) == 0;
}

} // namespace platform
