#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The content of the first section called `name` in a 64-bit ELF file of this machine's byte order. nullopt when the
/// file cannot be read, is not such a file, is damaged before the section is reached, or has no such section or one of
/// more than `limit` bytes. The file is not trusted: every offset is checked against its size.
[[nodiscard]] std::optional<std::string> readElfSection(const std::string& fileName, std::string_view name,
                                                        std::size_t limit);

} // namespace platform
