#include "host/card/NewPin.h"

#include "host/plugin/Texts.h"

namespace host {

std::optional<std::string> faultOfNewPin(const WipedBytes& pin, const TokenView& token) {
    if (hasControl({pin.data(), pin.size()})) {
        return "it holds a control character, which nobody can type";
    }
    if (pin.size() >= token.shortestPin && pin.size() <= token.longestPin.value_or(pin.size())) {
        return std::nullopt;
    }
    const std::string shortest = std::to_string(token.shortestPin);
    return "it has " + std::to_string(pin.size()) + " bytes, and the token takes " +
           (token.longestPin ? shortest + " to " + std::to_string(*token.longestPin) : "at least " + shortest);
}

} // namespace host
