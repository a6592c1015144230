#pragma once

#include <optional>
#include <string>

#include "host/inspect/TokenView.h"
#include "text/Wiped.h"

namespace host {

/// What is wrong with a new PIN: a character that nobody can type, or a length that the token does not take. nullopt
/// when the token takes it.
[[nodiscard]] std::optional<std::string> faultOfNewPin(const WipedBytes& pin, const TokenView& token);

} // namespace host
