#include "platform/FileIdentity.h"

#include <sys/stat.h>

namespace platform {

FileIdentity::FileIdentity(std::ptrdiff_t descriptor) noexcept {
    struct stat file = {};
    if (::fstat(static_cast<int>(descriptor), &file) == 0) {
        m_device = file.st_dev;
        m_file = file.st_ino;
        m_known = true;
    }
}

bool FileIdentity::isStill(std::ptrdiff_t descriptor) const noexcept {
    const FileIdentity now(descriptor);
    return m_known && now.m_known && now.m_device == m_device && now.m_file == m_file;
}

} // namespace platform
