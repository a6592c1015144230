#include "platform/AppendedFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace platform {

namespace {

/// Returns true for a file or device of this user, and makes the file readable for its owner alone.
bool isOwn(int descriptor) noexcept {
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0) {
        return false;
    }
    errno = EACCES;
    if (status.st_uid != ::geteuid()) {
        return false;
    }
    const bool isPrivate = (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
    return S_ISCHR(status.st_mode) ||
           (S_ISREG(status.st_mode) && (isPrivate || ::fchmod(descriptor, S_IRUSR | S_IWUSR) == 0));
}

int openForAppend(const char* path) noexcept {
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY;
    if (std::strcmp(path, "/dev/null") == 0) {
        return ::open(path, kFlags);
    }
    // In a folder where other users may write, a link could lead the lines into any file. Opening must not wait for the
    // reader of a pipe.
    const int descriptor = ::open(path, kFlags | O_CREAT | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return -1;
    }
    if (!isOwn(descriptor)) {
        const int reason = errno;
        ::close(descriptor);
        errno = reason;
        return -1;
    }
    ::fcntl(descriptor, F_SETFL, O_APPEND);
    return descriptor;
}

/// Returns true when the name means the open file.
bool isNamed(int descriptor, const char* path) noexcept {
    struct stat file = {};
    struct stat named = {};
    return ::fstat(descriptor, &file) == 0 && ::lstat(path, &named) == 0 && file.st_dev == named.st_dev &&
           file.st_ino == named.st_ino;
}

/// Locks or unlocks the file for this process, waiting for others. Unlike flock this also keeps out a forked child,
/// which has the same open file. The lock ends early when the process closes any descriptor of the file, as no one does
/// here.
bool setLock(int descriptor, short type) noexcept {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    int result = -1;
    do {
        result = ::fcntl(descriptor, F_SETLKW, &lock);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

bool AppendedFile::open(const char* path) noexcept {
    close();
    m_handle = openForAppend(path);
    m_identity = FileIdentity(m_handle);
    m_isOwned = true;
    return isOpen();
}

bool AppendedFile::openStandardError() noexcept {
    close();
    m_handle = STDERR_FILENO;
    m_identity = FileIdentity(m_handle);
    m_isOwned = false;
    return true;
}

void AppendedFile::close() noexcept {
    if (isOpen() && m_isOwned && isStill()) {
        ::close(static_cast<int>(m_handle));
    }
    m_handle = kClosed;
}

std::size_t AppendedFile::append(const char* line, std::size_t length) noexcept {
    std::size_t total = 0;
    while (total < length) {
        const ssize_t written = ::write(static_cast<int>(m_handle), line + total, length - total);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            break;
        }
        total += static_cast<std::size_t>(written);
    }
    return total;
}

bool AppendedFile::rotate(const char* path, const char* older, std::uint64_t limit) noexcept {
    const int descriptor = static_cast<int>(m_handle);
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uint64_t>(status.st_size) < limit) {
        return true;
    }
    // Of the processes that see the full file at once, the first renames it, and the others find another file there.
    if (!setLock(descriptor, F_WRLCK)) {
        return false;
    }
    const bool isDone = !isNamed(descriptor, path) || std::rename(path, older) == 0;
    const int reason = errno;
    setLock(descriptor, F_UNLCK);
    errno = reason;
    return isDone && open(path);
}

std::string AppendedFile::lastError() {
    return std::generic_category().message(errno);
}

} // namespace platform
