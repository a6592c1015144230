#include "watch/calls/Messages.h"

#include <exception>
#include <string>

#include "platform/AppendedFile.h"

namespace watch {

void say(std::string_view program, std::string_view text) noexcept {
    try {
        const std::string line = std::string(program) + ": " + std::string(text) + "\n";
        platform::AppendedFile errors;
        if (errors.openStandardError()) {
            [[maybe_unused]] const std::size_t written = errors.append(line.data(), line.size());
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): without memory nothing can be said
    }
}

} // namespace watch
