#include "host/desk/engine/Decision.h"

namespace host::desk {

namespace {

bool canBeSent(PinState state) {
    return state != PinState::LastTry && state != PinState::Locked;
}

Decision leave(const std::string& reason) {
    return {CardUse::Nothing, reason};
}

Decision erase(const TokenView& token, CardUse use) {
    return canBeSent(token.officerPin) ? Decision{use, ""}
                                       : leave("it has to be erased, and its SO PIN is locked or has one try left");
}

Decision decideKnown(const TokenView& token, const KnownCard& known, const Plan& plan) {
    if (known.state == AttemptState::Done || known.rowState == RowState::Running) {
        return leave(""); // issued, or somebody works on it
    }
    if (!known.isLatest || known.rowState != RowState::Waiting || known.state == AttemptState::Replaced) {
        return leave("it is left over from row " + std::to_string(known.row) +
                     ", which is done with another card, failed or was dropped");
    }
    const bool canResume = known.state == AttemptState::Interrupted && !plan.hasRandomPin() &&
                           plan.onInterruption == OnInterruption::Resume && canBeSent(token.userPin);
    return canResume ? Decision{CardUse::Resume, ""} : erase(token, CardUse::Erase);
}

} // namespace

Decision decide(const TokenView& token, const std::optional<KnownCard>& known, const Plan& plan,
                const std::set<std::string>& labels) {
    if (!token.isInitialised) {
        return {CardUse::Blank, ""};
    }
    if (known) {
        return decideKnown(token, *known, plan);
    }
    if (labels.count(token.label) != 0) {
        return leave("it has a label of this plan, and the journal does not know it: it may belong to somebody, or be "
                     "left over from work that was interrupted while it was initialised");
    }
    return plan.usedCard == UsedCard::Erase ? erase(token, CardUse::Used) : leave("it is in use");
}

bool fitsGlob(std::string_view name, std::string_view pattern) {
    std::size_t place = 0;                     // in the name
    std::size_t next = 0;                      // in the pattern
    std::size_t star = std::string_view::npos; // the last one that was passed
    std::size_t behindStar = 0;                // where the name goes on behind what the star stands for
    while (place < name.size()) {
        if (next < pattern.size() && (pattern[next] == '?' || (pattern[next] == name[place] && name[place] != '*'))) {
            ++place;
            ++next;
        } else if (next < pattern.size() && pattern[next] == '*') {
            star = next++;
            behindStar = place;
        } else if (star != std::string_view::npos) {
            next = star + 1;
            place = ++behindStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', next) == std::string_view::npos;
}

} // namespace host::desk
