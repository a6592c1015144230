#include "platform/CurrentDirectory.h"

#include <windows.h>

namespace platform {

void currentDirectory(wchar_t* buffer, std::size_t room) noexcept {
    if (room == 0) {
        return;
    }
    // A length that does not fit is the room that it would take.
    const DWORD length = GetCurrentDirectoryW(static_cast<DWORD>(room), buffer);
    buffer[length < room ? length : 0] = L'\0';
}

} // namespace platform
