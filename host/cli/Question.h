#pragma once

#include <optional>
#include <string>

namespace host {

/// Asks a person at the terminal. Yes is "y" or "yes", in either case; anything else is no. Nothing when nobody is
/// there.
[[nodiscard]] std::optional<bool> askYesOrNo(const std::string& question);

} // namespace host
