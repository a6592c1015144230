#include "platform/LibrarySearch.h"

#include <windows.h>

#include <cstring>

#include "text/Utf8.h"

namespace platform {

namespace {

using SetDefaultDirectories = BOOL(WINAPI*)(DWORD flags);
using AddDirectory = void*(WINAPI*)(PCWSTR folder);

/// Windows 7 has these functions only with an update, so they are not imported.
template <class Function>
Function systemFunction(const char* name) noexcept {
    const FARPROC address = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name);
    Function function = nullptr;
    std::memcpy(&function, &address, sizeof function);
    return function;
}

} // namespace

void searchLibrariesSafely() noexcept {
    // Removes the current directory from the old search order, which a library may still use.
    SetDllDirectoryW(L"");
    const auto setDefault = systemFunction<SetDefaultDirectories>("SetDefaultDllDirectories");
    if (setDefault != nullptr) {
        setDefault(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    }
}

void alsoSearchLibrariesIn(const std::string& folder) {
    const auto add = systemFunction<AddDirectory>("AddDllDirectory");
    if (add != nullptr) {
        add(text::toWide(folder).c_str());
    } else {
        // The old order has room for one folder, in place of the current directory.
        SetDllDirectoryW(text::toWide(folder).c_str());
    }
}

} // namespace platform
