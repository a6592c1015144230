#include "platform/StandardOutput.h"

#include <cstdio>
#include <cwchar>
#include <exception>
#include <string>

#include "platform/Encoding.h"

namespace platform {

void writeStandardOutput(const wchar_t* text) noexcept {
    try {
        const std::size_t length = std::wcslen(text);
        std::string line(wideToUtf8(text, length, nullptr, 0), '\0');
        static_cast<void>(wideToUtf8(text, length, line.data(), line.size()));
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fflush(stdout);
    } catch (const std::exception&) {
        // A line that cannot be written is lost; nothing depends on it.
    }
}

} // namespace platform
