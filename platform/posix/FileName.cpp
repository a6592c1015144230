#include "platform/posix/FileName.h"

#include "platform/Encoding.h"

namespace platform {

std::string toFileName(std::wstring_view name) {
    std::string file(wideToUtf8(name.data(), name.size(), nullptr, 0), '\0');
    file.resize(wideToUtf8(name.data(), name.size(), file.data(), file.size()));
    return file;
}

std::wstring fromFileName(std::string_view name) {
    std::wstring wide(utf8ToWide(name.data(), name.size(), nullptr, 0), L'\0');
    wide.resize(utf8ToWide(name.data(), name.size(), wide.data(), wide.size()));
    return wide;
}

} // namespace platform
