#pragma once

#include <string>
#include <string_view>

namespace platform {

/// The system's file names are bytes; ours are wide. UTF-8 both ways.
[[nodiscard]] std::string toFileName(std::wstring_view name);
[[nodiscard]] std::wstring fromFileName(std::string_view name);

} // namespace platform
