#include "host/card/NewPin.h"

#include <algorithm>

namespace host {

std::optional<std::string> faultOfNewPin(const WipedBytes& pin, const TokenView& token) {
    const bool isTypable = std::none_of(pin.begin(), pin.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20U || static_cast<unsigned char>(c) == 0x7FU;
    });
    if (!isTypable) {
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
