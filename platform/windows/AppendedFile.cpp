#include "platform/AppendedFile.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <windows.h>

#include "platform/windows/FileOwner.h"
#include "text/Utf8.h"

namespace platform {

namespace {

constexpr std::size_t kPathRoom = 32768;

HANDLE handleOf(std::ptrdiff_t handle) noexcept {
    return reinterpret_cast<HANDLE>(handle);
}

void widen(const char* path, wchar_t (&wide)[kPathRoom]) noexcept {
    wide[text::utf8ToWide(path, std::strlen(path), wide, kPathRoom - 1)] = 0;
}

/// Returns false for links, pipes and another user's file. The null device is not a file on a disk.
bool isOrdinary(HANDLE file) noexcept {
    BY_HANDLE_FILE_INFORMATION information = {};
    const DWORD type = GetFileType(file);
    return type == FILE_TYPE_CHAR ||
           (type == FILE_TYPE_DISK && GetFileInformationByHandle(file, &information) != 0 &&
            (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0 && !belongsToAnotherUser(file));
}

HANDLE openForAppend(const wchar_t* path) noexcept {
    HANDLE file = CreateFileW(path, FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL | SYNCHRONIZE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file != INVALID_HANDLE_VALUE && !isOrdinary(file)) {
        CloseHandle(file);
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    return file;
}

/// Returns true when the name means the open file.
bool isNamed(HANDLE file, const wchar_t* path) noexcept {
    const HANDLE named = CreateFileW(path, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                     nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (named == INVALID_HANDLE_VALUE) {
        return false;
    }
    BY_HANDLE_FILE_INFORMATION ours = {};
    BY_HANDLE_FILE_INFORMATION theirs = {};
    const bool isSame = GetFileInformationByHandle(file, &ours) != 0 &&
                        GetFileInformationByHandle(named, &theirs) != 0 &&
                        ours.dwVolumeSerialNumber == theirs.dwVolumeSerialNumber &&
                        ours.nFileIndexHigh == theirs.nFileIndexHigh && ours.nFileIndexLow == theirs.nFileIndexLow;
    CloseHandle(named);
    return isSame;
}

/// A mutex for all who append to the file: what the system appends in one piece to a local disk it does not on a
/// network drive, nor under Wine. Null when it cannot be had.
HANDLE lockFor(HANDLE file) noexcept {
    BY_HANDLE_FILE_INFORMATION information = {};
    if (GetFileInformationByHandle(file, &information) == 0) {
        return nullptr;
    }
    wchar_t name[64];
    std::swprintf(name, std::size(name), L"Local\\zel-append-%08lx-%08lx%08lx", information.dwVolumeSerialNumber,
                  information.nFileIndexHigh, information.nFileIndexLow);
    return CreateMutexW(nullptr, FALSE, name);
}

/// Holds the mutex; gives up after a second, when another process stands still in a debugger.
class Locked {
public:
    explicit Locked(HANDLE mutex) noexcept : m_mutex(mutex) {
        const DWORD waited = mutex == nullptr ? WAIT_FAILED : WaitForSingleObject(mutex, 1000);
        m_isHeld = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    ~Locked() {
        if (m_isHeld) {
            const DWORD reason = GetLastError();
            ReleaseMutex(m_mutex);
            SetLastError(reason);
        }
    }

private:
    HANDLE m_mutex;
    bool m_isHeld = false;
};

/// Renames the open file unless another process has done so: then the name means another file, or none yet.
bool renameOnce(HANDLE file, HANDLE lock, const char* path, const char* older) noexcept {
    wchar_t wide[kPathRoom];
    widen(path, wide);
    wchar_t wideOlder[kPathRoom];
    widen(older, wideOlder);
    const Locked locked(lock);
    return !isNamed(file, wide) || MoveFileExW(wide, wideOlder, MOVEFILE_REPLACE_EXISTING) != 0;
}

} // namespace

bool AppendedFile::open(const char* path) noexcept {
    close();
    wchar_t wide[kPathRoom];
    widen(path, wide);
    m_handle = reinterpret_cast<std::ptrdiff_t>(openForAppend(wide));
    m_identity = FileIdentity(m_handle);
    m_lock = isOpen() ? lockFor(handleOf(m_handle)) : nullptr;
    m_isOwned = true;
    return isOpen();
}

bool AppendedFile::openStandardError() noexcept {
    close();
    const auto handle = reinterpret_cast<std::ptrdiff_t>(GetStdHandle(STD_ERROR_HANDLE));
    m_handle = handle == 0 ? kClosed : handle; // null: a program without standard streams
    m_identity = FileIdentity(m_handle);
    m_isOwned = false;
    return isOpen();
}

void AppendedFile::close() noexcept {
    if (isOpen() && m_isOwned) {
        CloseHandle(handleOf(m_handle));
    }
    if (m_lock != nullptr) {
        CloseHandle(m_lock);
    }
    m_lock = nullptr;
    m_handle = kClosed;
}

std::size_t AppendedFile::append(const char* line, std::size_t length) noexcept {
    const Locked locked(m_lock);
    std::size_t total = 0;
    while (total < length) {
        const auto most = static_cast<DWORD>(std::min<std::size_t>(length - total, 0x40000000));
        DWORD written = 0;
        if (WriteFile(handleOf(m_handle), line + total, most, &written, nullptr) == 0 || written == 0) {
            break;
        }
        total += written;
    }
    return total;
}

bool AppendedFile::rotate(const char* path, const char* older, std::uint64_t limit) noexcept {
    LARGE_INTEGER size = {};
    if (GetFileSizeEx(handleOf(m_handle), &size) == 0 || static_cast<std::uint64_t>(size.QuadPart) < limit) {
        return true;
    }
    return renameOnce(handleOf(m_handle), m_lock, path, older) && open(path);
}

std::string AppendedFile::lastError() {
    switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return "the folder was not found";
    case ERROR_ACCESS_DENIED:
        return "access is denied";
    case ERROR_DISK_FULL:
        return "the disk is full";
    default:
        return "error " + std::to_string(GetLastError());
    }
}

} // namespace platform
