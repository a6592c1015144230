#include "platform/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace platform {

namespace {

/// Returns true when the name still means the open file: the lock of a file that was removed in between holds nothing.
bool isNamed(int descriptor, const char* path) noexcept {
    struct stat file = {};
    struct stat named = {};
    return ::fstat(descriptor, &file) == 0 && ::lstat(path, &named) == 0 && file.st_dev == named.st_dev &&
           file.st_ino == named.st_ino;
}

/// Returns 0 or an errno. The programs that this process starts do not inherit the lock.
int lock(const char* path, std::ptrdiff_t& handle) noexcept {
    constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    for (;;) {
        const int descriptor = ::open(path, kFlags, S_IRUSR | S_IWUSR);
        if (descriptor < 0) {
            return errno;
        }
        const int error = ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
        if (error == 0 && isNamed(descriptor, path)) {
            handle = descriptor;
            return 0;
        }
        ::close(descriptor);
        if (error != 0 && error != EINTR) {
            return error;
        }
    }
}

} // namespace

FileLock::FileLock(const std::string& path) {
    const int error = lock(path.c_str(), m_handle);
    m_state = error == 0 ? State::Taken : error == EWOULDBLOCK ? State::HeldByAnother : State::Failed;
    errno = error;
}

FileLock::~FileLock() {
    if (m_handle != kNone) {
        ::close(static_cast<int>(m_handle));
    }
}

std::string FileLock::lastError() {
    return std::generic_category().message(errno);
}

} // namespace platform
