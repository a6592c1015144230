#include "host/card/TokenChoice.h"

#include <algorithm>
#include <map>

#include "host/card/CardFailure.h"
#include "host/plugin/Answers.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

bool isEmpty(const TokenChoice& choice) {
    return !choice.reader && !choice.token && !choice.serial && !(choice.uri && choice.uri->namesToken());
}

bool fits(const std::optional<std::string>& wanted, const std::string& actual) {
    return !wanted || *wanted == actual;
}

bool fits(const Pkcs11Uri& uri, const SlotView& slot) {
    const TokenView none;
    const TokenView& token = slot.token ? *slot.token : none;
    return fits(uri.token, token.label) && fits(uri.manufacturer, token.manufacturer) && fits(uri.model, token.model) &&
           fits(uri.serial, token.serial) && fits(uri.slotDescription, slot.name);
}

bool fits(const TokenChoice& choice, const SlotView& slot, const std::string& shown) {
    const TokenView none;
    const TokenView& token = slot.token ? *slot.token : none;
    const bool isReader = !choice.reader || *choice.reader == shown || *choice.reader == slot.name;
    return isReader && fits(choice.token, token.label) && fits(choice.serial, token.serial) &&
           (!choice.uri || fits(*choice.uri, slot));
}

std::string listed(const std::vector<SlotView>& slots, const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const SlotView& slot = slots[i];
        text += "\n    --reader \"" + names[i] + "\"";
        if (slot.token && slot.token->isInitialised) {
            text += "  --token \"" + printable(slot.token->label) + "\"  --serial " + printable(slot.token->serial);
        }
        text += std::string("  (") + stateOf(slot) + ")";
    }
    return slots.empty() ? "\n    no reader at all" : text;
}

[[noreturn]] void refuse(ExitStatus status, const std::string& reason, const std::string& remedy) {
    throw CardFailure(status, "choosing the token", reason, remedy);
}

[[noreturn]] void refuseNone(const std::vector<SlotView>& slots, const std::vector<std::string>& names, bool isChosen,
                             WantedToken wanted) {
    const char* reason = isChosen                       ? "no token fits what was asked for"
                         : wanted == WantedToken::Blank ? "there is no blank token"
                                                        : "there is no initialised token";
    refuse(ExitStatus::NoToken, reason, "There are:" + listed(slots, names));
}

} // namespace

std::vector<std::string> shownNames(const std::vector<SlotView>& slots) {
    std::map<std::string, std::size_t> counts;
    for (const SlotView& slot : slots) {
        ++counts[slot.name];
    }
    std::map<std::string, std::size_t> seen;
    std::vector<std::string> names;
    for (const SlotView& slot : slots) {
        std::string name = readableHexadecimal(toUtf8(toHexadecimal(slot.name)));
        if (counts[slot.name] > 1) {
            name.append("#").append(std::to_string(++seen[slot.name]));
        }
        names.push_back(std::move(name));
    }
    return names;
}

std::size_t chooseToken(const std::vector<SlotView>& slots, const TokenChoice& choice, WantedToken wanted) {
    const std::vector<std::string> names = shownNames(slots);
    const bool isChosen = !isEmpty(choice);
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const bool isMeant = slots[i].token && slots[i].token->isInitialised == (wanted == WantedToken::Initialised);
        if (isChosen ? fits(choice, slots[i], names[i]) : isMeant) {
            found.push_back(i);
        }
    }
    if (found.empty()) {
        refuseNone(slots, names, isChosen, wanted);
    }
    if (found.size() > 1) {
        refuse(ExitStatus::Usage, "several tokens are there", "Name one of them:" + listed(slots, names));
    }
    const SlotView& slot = slots[found.front()];
    if (!slot.token) {
        refuse(ExitStatus::NoToken,
               slot.hasAnswered ? "there is no token in the reader" : "the token in the reader does not answer",
               "Put the card in and run it again. There are:" + listed(slots, names));
    }
    const auto first = std::find_if(slots.begin(), slots.end(), [&](const SlotView& s) { return s.name == slot.name; });
    if (first->id != slot.id) {
        refuse(ExitStatus::Usage, "the reader \"" + names[found.front()] + "\" has the name of another reader",
               "The plug-in finds readers by their names, and finds the other one. Unplug that one, or have a name "
               "changed.");
    }
    return found.front();
}

} // namespace host
