#include "platform/FileLock.h"

#include <system_error>
#include <windows.h>

#include "text/Utf8.h"

namespace platform {

namespace {

HANDLE openLockFile(const std::string& path) {
    return CreateFileW(text::toWide(path).c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
}

/// A lock on a byte: a program that only looks at the file, as a virus scanner does, is not taken for its holder.
DWORD lockByte(HANDLE file) noexcept {
    OVERLAPPED first = {};
    const DWORD flags = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
    return LockFileEx(file, flags, 0, 1, 0, &first) != 0 ? ERROR_SUCCESS : GetLastError();
}

} // namespace

FileLock::FileLock(const std::string& path) {
    const HANDLE file = openLockFile(path);
    if (file == INVALID_HANDLE_VALUE) {
        return;
    }
    const DWORD error = lockByte(file);
    if (error == ERROR_SUCCESS) {
        m_handle = reinterpret_cast<std::ptrdiff_t>(file);
        m_state = State::Taken;
        return;
    }
    m_state = error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING ? State::HeldByAnother : State::Failed;
    CloseHandle(file);
    SetLastError(error);
}

FileLock::~FileLock() {
    if (m_handle != kNone) {
        CloseHandle(reinterpret_cast<HANDLE>(m_handle));
    }
}

std::string FileLock::lastError() {
    return std::system_category().message(static_cast<int>(GetLastError()));
}

} // namespace platform
