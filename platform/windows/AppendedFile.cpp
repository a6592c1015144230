#include "platform/AppendedFile.h"

#include <algorithm>
#include <cstring>
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

bool isSame(HANDLE one, HANDLE other) noexcept {
    BY_HANDLE_FILE_INFORMATION ours = {};
    BY_HANDLE_FILE_INFORMATION theirs = {};
    return GetFileInformationByHandle(one, &ours) != 0 && GetFileInformationByHandle(other, &theirs) != 0 &&
           ours.dwVolumeSerialNumber == theirs.dwVolumeSerialNumber && ours.nFileIndexHigh == theirs.nFileIndexHigh &&
           ours.nFileIndexLow == theirs.nFileIndexLow;
}

/// The new name of a file, as the system takes it.
struct NewName {
    FILE_RENAME_INFO information;
    wchar_t rest[kPathRoom];
};

bool rename(HANDLE file, const char* path) noexcept {
    wchar_t wide[kPathRoom];
    widen(path, wide);
    NewName name = {};
    name.information.ReplaceIfExists = TRUE;
    const DWORD length = GetFullPathNameW(wide, kPathRoom, name.information.FileName, nullptr);
    name.information.FileNameLength = static_cast<DWORD>(length * sizeof(wchar_t));
    return length != 0 && length < kPathRoom &&
           SetFileInformationByHandle(file, FileRenameInfo, &name, sizeof name) != 0;
}

/// Renames the open file unless another process has done so: then the name means another file, or none yet.
bool renameOnce(HANDLE file, const char* path, const char* older) noexcept {
    wchar_t wide[kPathRoom];
    widen(path, wide);
    const HANDLE named = CreateFileW(wide, DELETE | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (named == INVALID_HANDLE_VALUE) {
        return GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    // By its handle and not by its name, which may mean the other process's new file by now.
    const bool isDone = !isSame(file, named) || rename(named, older);
    const DWORD reason = GetLastError();
    CloseHandle(named);
    SetLastError(reason);
    return isDone;
}

} // namespace

bool AppendedFile::open(const char* path) noexcept {
    close();
    wchar_t wide[kPathRoom];
    widen(path, wide);
    m_handle = reinterpret_cast<std::ptrdiff_t>(openForAppend(wide));
    m_identity = FileIdentity(m_handle);
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
    m_handle = kClosed;
}

std::size_t AppendedFile::append(const char* line, std::size_t length) noexcept {
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
    return renameOnce(handleOf(m_handle), path, older) && open(path);
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
