#include "platform/LibrarySearch.h"

#include <windows.h>

#include <cstring>

#include "platform/Encoding.h"

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

std::wstring wide(const std::string& text) {
    std::wstring result(utf8ToWide(text.data(), text.size(), nullptr, 0), L'\0');
    result.resize(utf8ToWide(text.data(), text.size(), result.data(), result.size()));
    return result;
}

} // namespace

void searchLibrariesSafely() noexcept {
    // Takes the current directory out of the old search order, which a library may still ask for.
    SetDllDirectoryW(L"");
    const auto setDefault = systemFunction<SetDefaultDirectories>("SetDefaultDllDirectories");
    if (setDefault != nullptr) {
        setDefault(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    }
}

void alsoSearchLibrariesIn(const std::string& folder) {
    const auto add = systemFunction<AddDirectory>("AddDllDirectory");
    if (add != nullptr) {
        add(wide(folder).c_str());
    } else {
        // The old order has room for one folder, in place of the current directory.
        SetDllDirectoryW(wide(folder).c_str());
    }
}

} // namespace platform
