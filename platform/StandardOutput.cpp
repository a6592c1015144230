#include "platform/StandardOutput.h"

#include <cstdio>
#include <exception>
#include <string>

#include "text/Utf8.h"

namespace platform {

void writeStandardOutput(const wchar_t* text) noexcept {
    try {
        const std::string line = text::toUtf8(text) + '\n';
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fflush(stdout);
    } catch (const std::exception&) {
        // A line that cannot be written is lost; nothing depends on it.
    }
}

} // namespace platform
