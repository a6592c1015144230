#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace host::view {

/// The content of the file with this UTF-8 name. UsageError when it cannot be read; `what` says what it is, "record".
[[nodiscard]] std::string readWhole(const std::string& path, const std::string& what);

/// Calls `read` for each line that is not blank, with its number from 1 and whether a line end follows it.
void eachLine(std::string_view text,
              const std::function<void(std::string_view line, std::size_t number, bool isWhole)>& read);

} // namespace host::view
