#include "host/view/TextFile.h"

#include <algorithm>

#include "host/plugin/Errors.h"
#include "platform/Streams.h"

namespace host::view {

std::string readWhole(const std::string& path, const std::string& what) {
    const auto refused = [&] {
        return UsageError("cannot read the " + what + " \"" + path + "\": " + platform::InputStream::lastError());
    };
    std::optional<platform::InputStream> file = platform::InputStream::open(path);
    if (!file) {
        throw refused();
    }
    std::string text;
    for (;;) {
        const std::size_t length = text.size();
        text.resize(std::max<std::size_t>(2 * length, 1U << 16U));
        const std::optional<std::size_t> count = file->read(text.data() + length, text.size() - length);
        text.resize(length + count.value_or(0));
        endIfInterrupted();
        if (!count) {
            throw refused();
        }
        if (*count == 0) {
            return text;
        }
    }
}

void eachLine(std::string_view text, const std::function<void(std::string_view, std::size_t, bool)>& read) {
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        if (line.find_first_not_of(" \t\r") != std::string_view::npos) {
            read(line, number, end < text.size());
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

} // namespace host::view
