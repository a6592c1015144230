#include "platform/DynamicLibrary.h"

#include <windows.h>

#include <array>
#include <cstring>
#include <utility>

namespace platform {

namespace {

thread_local DWORD t_lastError = ERROR_SUCCESS;

/// A damaged library would otherwise make the system show a window and wait for somebody to close it.
class QuietErrors {
public:
    QuietErrors() noexcept { SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &m_previous); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;
    ~QuietErrors() { SetThreadErrorMode(m_previous, nullptr); }

private:
    DWORD m_previous = 0;
};

} // namespace

DynamicLibrary DynamicLibrary::load(const wchar_t* name) noexcept {
    DynamicLibrary library;
    // For an empty name Wine returns the program itself; Windows refuses it.
    if (*name == L'\0') {
        t_lastError = ERROR_INVALID_PARAMETER;
        return library;
    }
    const QuietErrors quiet;
    library.m_handle = LoadLibraryW(name);
    if (library.m_handle == nullptr) {
        t_lastError = GetLastError();
    }
    return library;
}

void* DynamicLibrary::symbol(const char* name) const noexcept {
    if (m_handle == nullptr) {
        return nullptr;
    }
    const FARPROC address = GetProcAddress(static_cast<HMODULE>(m_handle), name);
    void* result = nullptr;
    std::memcpy(&result, &address, sizeof result);
    return result;
}

void DynamicLibrary::unload() noexcept {
    if (m_handle != nullptr) {
        FreeLibrary(static_cast<HMODULE>(std::exchange(m_handle, nullptr)));
    }
}

std::string DynamicLibrary::lastError() {
    switch (t_lastError) {
    case ERROR_SUCCESS:
        return {};
    case ERROR_MOD_NOT_FOUND:
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return "the library, or another one that it needs, was not found";
    case ERROR_BAD_EXE_FORMAT:
        return "the file is not a library for 64-bit Windows (made for another architecture, or damaged)";
    case ERROR_PROC_NOT_FOUND:
        return "another library that it needs is of the wrong version";
    case ERROR_DLL_INIT_FAILED:
        return "the library refused to start";
    case ERROR_ACCESS_DENIED:
        return "access to the library is denied";
    case ERROR_INVALID_PARAMETER:
        return "no library name was given";
    default:
        return "the system refused to load the library (error " + std::to_string(t_lastError) + ")";
    }
}

std::wstring moduleFileName(void* module) {
    std::array<wchar_t, 260> name;
    if (module == nullptr) {
        return {};
    }
    const DWORD length = GetModuleFileNameW(static_cast<HMODULE>(module), name.data(), static_cast<DWORD>(name.size()));
    // A length equal to the buffer's means a truncated name.
    return length < name.size() ? std::wstring(name.data(), length) : std::wstring();
}

} // namespace platform
