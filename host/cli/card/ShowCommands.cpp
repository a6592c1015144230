#include "host/cli/Table.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

/// A state as a person reads it.
std::string readableState(const SlotView& slot) {
    constexpr std::array<std::array<const char*, 2>, 8> kWords = {{{"absent", "no token"},
                                                                   {"blank", "blank"},
                                                                   {"so-pin-locked", "officer locked"},
                                                                   {"user-pin-locked", "PIN locked"},
                                                                   {"no-user-pin", "PIN not set"},
                                                                   {"last-try", "last try"},
                                                                   {"read-only", "read-only"},
                                                                   {"ready", "ready"}}};
    const std::string state = slot.hasAnswered ? stateOf(slot) : "";
    for (const auto& [word, text] : kWords) {
        if (state == word) {
            return text;
        }
    }
    return "no answer";
}

void showReaders(CardRun& run) {
    const std::vector<SlotView> slots = run.slots();
    const std::vector<std::string> names = shownNames(slots);
    Json list = Json::array();
    TextTable table({"READER", "TOKEN", "SERIAL", "STATE"});
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const TokenView none;
        const TokenView& token = slots[i].token ? *slots[i].token : none;
        list.push_back({{"reader", names[i]},
                        {"name", hexadecimalText(slots[i].name)},
                        {"label", token.label},
                        {"serial", token.serial},
                        {"state", stateOf(slots[i])}});
        table.add({names[i], orDash(token.label), orDash(token.serial), readableState(slots[i])});
    }
    run.answer["readers"] = std::move(list);
    run.text = slots.empty() ? "no readers\n" : table.text();
}

Json memoryJson(const MemoryView& memory) {
    return {{"total", memory.total ? Json(*memory.total) : Json(nullptr)},
            {"free", memory.free ? Json(*memory.free) : Json(nullptr)}};
}

std::string readableMemory(const MemoryView& memory) {
    if (!memory.free && !memory.total) {
        return "the token does not tell";
    }
    const auto number = [](const std::optional<std::uint64_t>& value) { return value ? std::to_string(*value) : "?"; };
    return number(memory.free) + " of " + number(memory.total) + " bytes free";
}

Json countsJson(const std::vector<ObjectView>& objects) {
    Json counts = Json::object();
    for (const ObjectView& object : objects) {
        const std::string name = nameOf(object.objectClass);
        counts[name] = counts.value(name, 0) + 1;
    }
    return counts;
}

std::string readableCounts(const Json& counts) {
    std::vector<std::string> words;
    for (const auto& entry : counts.items()) {
        words.push_back(std::to_string(entry.value().get<int>()) + " " + entry.key());
    }
    return words.empty() ? "none that is seen without a login" : joined(words);
}

std::string line(const char* name, const std::string& value) {
    return std::string(name) + std::string(18 - std::string_view(name).size(), ' ') + value + "\n";
}

std::string readablePin(const TokenView& token, PinRole role) {
    if (!token.isInitialised || (role == PinRole::User && !token.hasUserPin)) {
        return "not set";
    }
    return nameOf(role == PinRole::User ? token.userPin : token.officerPin);
}

std::string readableLengths(const TokenView& token) {
    return std::to_string(token.shortestPin) +
           (token.longestPin ? " to " + std::to_string(*token.longestPin) : " or more") + " bytes";
}

void answerToken(CardRun& run, const Token& token) {
    const TokenView& info = token.info();
    Json& answer = run.answer;
    answer["reader"] = printable(token.slot().name);
    answer["label"] = info.label;
    answer["serial"] = info.serial;
    answer["model"] = info.model;
    answer["manufacturer"] = info.manufacturer;
    answer["state"] = stateOf(token.slot());
    answer["userPin"] = readablePin(info, PinRole::User);
    answer["soPin"] = readablePin(info, PinRole::Officer);
    answer["pinLength"] = {{"shortest", info.shortestPin},
                           {"longest", info.longestPin ? Json(*info.longestPin) : Json(nullptr)}};
    run.text += line("Reader:", printable(token.slot().name)) + line("Label:", orDash(info.label)) +
                line("Serial:", orDash(info.serial)) + line("Model:", orDash(info.model)) +
                line("Manufacturer:", orDash(info.manufacturer)) + line("State:", readableState(token.slot())) +
                line("User PIN:", readablePin(info, PinRole::User)) +
                line("Officer's PIN:", readablePin(info, PinRole::Officer)) +
                line("PIN length:", readableLengths(info));
    if (info.hasPinPad) {
        run.text += line("PIN pad:", "PINs are typed at the reader");
    }
}

void answerKeySizes(CardRun& run, const Token& token) {
    Json sizes = nullptr;
    std::string text = "the token makes no RSA keys, or does not tell";
    for (const MechanismView& mechanism : token.mechanisms()) {
        if (mechanism.number == kRsaKeyPairs) {
            sizes = {{"smallest", mechanism.smallestKey}, {"largest", mechanism.largestKey}};
            text = std::to_string(mechanism.smallestKey) + " to " + std::to_string(mechanism.largestKey) + " bits";
        }
    }
    run.answer["rsaKeys"] = std::move(sizes);
    run.text += line("RSA keys made:", text);
}

void showStatus(CardRun& run) {
    const Token& token = run.token();
    answerToken(run, token);
    const Json counts = token.info().isInitialised ? countsJson(token.objects()) : Json::object();
    run.answer["objects"] = counts;
    run.answer["publicMemory"] = memoryJson(token.info().publicMemory);
    run.answer["privateMemory"] = memoryJson(token.info().privateMemory);
    run.text += line("Public objects:", readableCounts(counts)) +
                line("Public memory:", readableMemory(token.info().publicMemory)) +
                line("Private memory:", readableMemory(token.info().privateMemory));
    answerKeySizes(run, token);
}

} // namespace

CardCommand readersCommand() {
    return {"readers",
            "list the readers and the tokens in them",
            {},
            {},
            "STATE is the first that holds of: no token, blank, officer locked, PIN locked,\n"
            "PIN not set, last try, read-only, ready. Nobody is logged in for it.\n",
            showReaders};
}

CardCommand statusCommand() {
    return {"status",
            "show one token: PINs, objects, memory, key sizes",
            {},
            withToken({}),
            "How many tries are left no token tells; it tells when a PIN was wrong, when one\n"
            "try is left, and when it is locked.\n",
            showStatus};
}

} // namespace host
