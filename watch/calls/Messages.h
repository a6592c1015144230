#pragma once

#include <string_view>

namespace watch {

/// Writes a line to standard error: "p11watch: text".
void say(std::string_view program, std::string_view text) noexcept;

} // namespace watch
