#include "platform/CurrentDirectory.h"

#include <limits.h>
#include <unistd.h>

#include <cstring>

#include "text/Utf8.h"

namespace platform {

void currentDirectory(wchar_t* buffer, std::size_t room) noexcept {
    if (room == 0) {
        return;
    }
    char path[PATH_MAX];
    std::size_t length = 0;
    if (getcwd(path, sizeof path) != nullptr) {
        length = text::utf8ToWide(path, std::strlen(path), buffer, room - 1);
    }
    buffer[length] = L'\0';
}

} // namespace platform
