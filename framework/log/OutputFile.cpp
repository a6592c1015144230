#include "framework/log/OutputFile.h"

#include <algorithm>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>

#include "text/Utf8.h"
#else
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace Ry::log {
namespace {

#if defined(_WIN32)

std::ptrdiff_t standardError() noexcept {
    const auto handle = reinterpret_cast<std::ptrdiff_t>(GetStdHandle(STD_ERROR_HANDLE));
    return handle == 0 ? -1 : handle; // null: a program without standard streams
}

/// Returns false for links and pipes. The null device is not a file on a disk.
bool isOrdinary(HANDLE file) noexcept {
    BY_HANDLE_FILE_INFORMATION information = {};
    const DWORD type = GetFileType(file);
    return type == FILE_TYPE_CHAR || (type == FILE_TYPE_DISK && GetFileInformationByHandle(file, &information) != 0 &&
                                      (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0);
}

std::ptrdiff_t openForAppend(const char* path) noexcept {
    wchar_t widePath[32768];
    const std::size_t room = std::size(widePath) - 1;
    const std::size_t length = text::utf8ToWide(path, std::strlen(path), widePath, room);
    widePath[length] = 0;
    HANDLE file = CreateFileW(widePath, FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file != INVALID_HANDLE_VALUE && !isOrdinary(file)) {
        CloseHandle(file);
        return -1;
    }
    return reinterpret_cast<std::ptrdiff_t>(file);
}

void closeHandle(std::ptrdiff_t handle) noexcept {
    CloseHandle(reinterpret_cast<HANDLE>(handle));
}

/// Bytes written; 0 when nothing can be written any more.
std::size_t writeSome(std::ptrdiff_t handle, const char* bytes, std::size_t length) noexcept {
    const auto most = static_cast<DWORD>(std::min<std::size_t>(length, 0x40000000));
    DWORD written = 0;
    return WriteFile(reinterpret_cast<HANDLE>(handle), bytes, most, &written, nullptr) ? written : 0;
}

#else

std::ptrdiff_t standardError() noexcept {
    return STDERR_FILENO;
}

/// Returns true for a file or device of this user, and makes the file readable for its owner alone.
bool isOwn(int descriptor) noexcept {
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || status.st_uid != ::geteuid()) {
        return false;
    }
    const bool isPrivate = (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
    return S_ISCHR(status.st_mode) ||
           (S_ISREG(status.st_mode) && (isPrivate || ::fchmod(descriptor, S_IRUSR | S_IWUSR) == 0));
}

std::ptrdiff_t openForAppend(const char* path) noexcept {
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY;
    if (std::strcmp(path, "/dev/null") == 0) {
        return ::open(path, kFlags);
    }
    // In a folder where other users may write, a link could lead the trace into any file. Opening must not wait for the
    // reader of a pipe.
    const int descriptor = ::open(path, kFlags | O_CREAT | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return -1;
    }
    if (!isOwn(descriptor)) {
        ::close(descriptor);
        return -1;
    }
    ::fcntl(descriptor, F_SETFL, O_APPEND);
    return descriptor;
}

void closeHandle(std::ptrdiff_t handle) noexcept {
    ::close(static_cast<int>(handle));
}

/// Bytes written; 0 when nothing can be written any more.
std::size_t writeSome(std::ptrdiff_t handle, const char* bytes, std::size_t length) noexcept {
    ssize_t written = 0;
    do {
        written = ::write(static_cast<int>(handle), bytes, length);
    } while (written < 0 && errno == EINTR);
    return written < 0 ? 0 : static_cast<std::size_t>(written);
}

#endif

} // namespace

bool OutputFile::open(const char* path) noexcept {
    close();
    m_fault = RylogFault::None;
    if (path == nullptr || *path == 0) {
        return true;
    }
    m_isOwned = std::strcmp(path, "-") != 0 && std::strcmp(path, "/dev/stderr") != 0;
    m_handle = m_isOwned ? openForAppend(path) : standardError();
    m_identity = platform::FileIdentity(m_handle);
    return isOpen();
}

void OutputFile::write(const char* line, std::size_t length) noexcept {
    if (!m_identity.isStill(m_handle)) {
        note(RylogFault::TakenAway);
        return;
    }
    while (length != 0) {
        const std::size_t written = writeSome(m_handle, line, length);
        if (written == 0) {
            note(RylogFault::Incomplete);
            return;
        }
        line += written;
        length -= written;
    }
}

void OutputFile::note(RylogFault fault) noexcept {
    if (m_isOwned && m_fault == RylogFault::None) {
        m_fault = fault;
    }
}

void OutputFile::close() noexcept {
    if (isOpen() && m_isOwned && m_identity.isStill(m_handle)) {
        closeHandle(m_handle);
    }
    m_handle = kClosed;
}

} // namespace Ry::log
