#pragma once

#include <optional>
#include <set>
#include <string>

#include "host/desk/journal/Journal.h"
#include "host/desk/plan/Plan.h"
#include "host/inspect/TokenView.h"

namespace host::desk {

/// What a card in a reader can be used for.
enum class CardUse {
    Nothing, ///< it is not touched
    Blank,   ///< for the next person
    Resume,  ///< its own person's work goes on
    Erase,   ///< for its own person, anew
    Used,    ///< erased for the next person
};

struct Decision {
    CardUse use = CardUse::Nothing;
    std::string reason; ///< why it is not touched, as a person should read it; empty where that needs no words
};

/// Decides about a card that nobody works on. `known` is what the journal knows of its serial, `labels` are those of
/// all persons of the plan. A PIN with one try left is never sent.
[[nodiscard]] Decision decide(const TokenView& token, const std::optional<KnownCard>& known, const Plan& plan,
                              const std::set<std::string>& labels);

/// Returns true when `name` fits the pattern, in which "*" stands for any text and "?" for any character.
[[nodiscard]] bool fitsGlob(std::string_view name, std::string_view pattern);

} // namespace host::desk
