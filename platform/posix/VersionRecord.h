#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// The version information of our libraries on Linux: text in an ELF section, written by cmake/VersionInformation.cmake.
// UTF-8, a first line that names the format, then lines "key=value", each ended by a line feed; a zero byte or the end
// of the section ends the record. "Translation" (eight hexadecimal digits, language first) has to be there;
// "FileVersion" is four decimal numbers below 65536, joined by dots; any other key is a text.
inline constexpr std::string_view kVersionSection = ".zel.version";
inline constexpr std::string_view kVersionFormat = "zel-version 1\n";
inline constexpr std::size_t kLargestVersionRecord = 4096;

class VersionRecord {
public:
    /// nullopt when the text is not such a record to its last byte, or its translation is missing or malformed.
    [[nodiscard]] static std::optional<VersionRecord> parse(std::string_view section);

    [[nodiscard]] std::uint32_t translation() const noexcept { return m_translation; }
    /// nullopt when missing or malformed.
    [[nodiscard]] std::optional<std::array<std::uint32_t, 4>> fileVersion() const;
    /// Value of the first line with this key; nullopt when no line has it. Valid as long as the record.
    [[nodiscard]] std::optional<std::string_view> value(std::string_view key) const noexcept;

private:
    std::string m_lines;
    std::uint32_t m_translation = 0;
};

} // namespace platform
