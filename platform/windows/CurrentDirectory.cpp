#include "platform/CurrentDirectory.h"

#include <windows.h>

namespace platform {

void currentDirectory(wchar_t* buffer, std::size_t room) noexcept {
    if (room == 0) {
        return;
    }
    // When the path does not fit, the length is the room that it needs.
    const DWORD length = GetCurrentDirectoryW(static_cast<DWORD>(room), buffer);
    buffer[length < room ? length : 0] = L'\0';
}

} // namespace platform
