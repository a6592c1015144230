#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/card/Uri.h"
#include "host/inspect/TokenView.h"

namespace host {

/// Which token is meant. All that is given has to fit.
struct TokenChoice {
    std::optional<std::string> reader; ///< as shownName shows it, or the name's bytes
    std::optional<std::string> token;  ///< label
    std::optional<std::string> serial;
    std::optional<Pkcs11Uri> uri;
};

/// What the only token means when nothing is chosen: one that is initialised, or a blank one.
enum class WantedToken { Initialised, Blank };

/// How each reader is shown and named: a name that is no readable text as hexadecimal digits, with "#1", "#2" behind
/// names that several readers have.
[[nodiscard]] std::vector<std::string> shownNames(const std::vector<SlotView>& slots);

/// The number of the chosen slot in the list. CardFailure with the list of tokens: status 7 when none fits, 2 when
/// several do. A reader that has another one's name cannot be chosen unless it is the first: the plug-in finds readers
/// by their names.
[[nodiscard]] std::size_t chooseToken(const std::vector<SlotView>& slots, const TokenChoice& choice,
                                      WantedToken wanted);

} // namespace host
