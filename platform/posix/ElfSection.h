#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// Contents of the first section called `name` in a 64-bit ELF file of this machine's byte order. Nothing when the file
/// cannot be read, is none of that kind, is damaged anywhere on the way to the section, has no such section, or has it
/// with more than `limit` bytes. The file is not trusted: every offset is checked against its size.
[[nodiscard]] std::optional<std::string> readElfSection(const std::string& fileName, std::string_view name,
                                                        std::size_t limit);

} // namespace platform
