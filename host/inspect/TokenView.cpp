#include "host/inspect/TokenView.h"

namespace host {

const char* stateOf(const SlotView& slot) {
    if (!slot.token) {
        return "absent";
    }
    const TokenView& token = *slot.token;
    if (!token.isInitialised) {
        return "blank";
    }
    if (token.officerPin == PinState::Locked) {
        return "so-pin-locked";
    }
    if (token.userPin == PinState::Locked) {
        return "user-pin-locked";
    }
    if (!token.hasUserPin) {
        return "no-user-pin";
    }
    if (token.userPin == PinState::LastTry) {
        return "last-try";
    }
    return token.isReadOnly ? "read-only" : "ready";
}

const char* nameOf(PinState state) {
    switch (state) {
    case PinState::WasWrong:
        return "was wrong";
    case PinState::LastTry:
        return "last try";
    case PinState::Locked:
        return "locked";
    case PinState::ToBeChanged:
        return "to be changed";
    case PinState::Fine:
        break;
    }
    return "fine";
}

} // namespace host
