#pragma once

#include <filesystem>
#include <string>

// Names of files are UTF-8 in this program. A path that is made from a std::string as it stands takes it for a text of
// the system's code page on Windows.

namespace host {

/// The path with this UTF-8 name.
[[nodiscard]] inline std::filesystem::path pathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

/// The name of the path as UTF-8.
[[nodiscard]] inline std::string utf8Of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace host
