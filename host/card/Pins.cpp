#include "host/card/Pins.h"

#include <optional>

#include "host/card/NewPin.h"
#include "host/plugin/Errors.h"
#include "host/scripts/Secrets.h"

namespace host {

namespace {

constexpr int kTries = 3;
constexpr const char* kSources = "prompt, env:NAME, file:PATH, fd:N and command:PROGRAM";

/// "User PIN of token "alice"", "New security officer's PIN of …".
std::string question(PinRole role, bool isNew, const Token& token) {
    const char* whose = role == PinRole::User ? "user PIN" : "security officer's PIN";
    std::string text = std::string(isNew ? "New " : "") + whose + " of " + token.name();
    text.front() = isNew ? 'N' : (role == PinRole::User ? 'U' : 'S');
    return text;
}

WipedBytes readSource(const PinSource& source) {
    if (source.kind == "env") {
        return secretFromEnvironment(source.value);
    }
    if (source.kind == "file") {
        return secretFromPrivateFile(source.value);
    }
    return source.kind == "fd" ? secretFromDescriptor(source.value) : secretFromCommand(source.value);
}

/// Both entries of one try; nothing when they differ.
std::optional<WipedBytes> typeTwice(PinRole role, const Token& token) {
    WipedBytes pin = token.person().secret(question(role, true, token) + ": ");
    const WipedBytes again = token.person().secret("The same again: ");
    return pin == again ? std::optional(std::move(pin)) : std::nullopt;
}

WipedBytes promptForNewPin(PinRole role, const Token& token) {
    std::string fault;
    for (int i = 0; i < kTries; ++i) {
        std::optional<WipedBytes> pin = typeTwice(role, token);
        const std::optional<std::string> wrong = pin ? faultOfNewPin(*pin, token.info()) : "the two entries differ";
        if (!wrong) {
            return std::move(*pin);
        }
        fault = *wrong;
        token.person().tell("That PIN cannot be taken: " + fault + ".");
    }
    throw UsageError("no new PIN was given: " + fault + "; nothing was changed");
}

} // namespace

PinSource readPinSource(std::string_view text) {
    if (text == "prompt" || text == "prompt:") {
        return {};
    }
    const std::size_t colon = text.find(':');
    const std::string_view kind = text.substr(0, colon);
    const bool isKnown = kind == "env" || kind == "file" || kind == "fd" || kind == "command";
    if (!isKnown || colon == std::string_view::npos || colon + 1 == text.size()) {
        throw UsageError(std::string("a PIN does not stand on the command line; say where it comes from: ") + kSources);
    }
    return {std::string(kind), std::string(text.substr(colon + 1))};
}

PinSource pinSourceOfUri(std::string_view text) {
    constexpr std::string_view kFile = "file:";
    if (text.substr(0, 1) == "|") {
        return {"command", std::string(text.substr(1))};
    }
    std::string_view path = text.substr(0, kFile.size()) == kFile ? text.substr(kFile.size()) : text;
    if (path.substr(0, 3) == "///") {
        path.remove_prefix(2);
    }
    if (path.empty()) {
        throw UsageError("the URI's \"pin-source\" is empty; it takes file:PATH or |PROGRAM");
    }
    return {"file", std::string(path)};
}

WipedBytes readCurrentPin(const PinSource& source, PinRole role, Token& token) {
    token.guardPin(role);
    if (source.kind != "prompt") {
        return readSource(source);
    }
    return token.rules().isDryRun ? WipedBytes() : token.person().secret(question(role, false, token) + ": ");
}

WipedBytes readNewPin(const PinSource& source, PinRole role, const Token& token) {
    if (source.kind == "prompt") {
        return token.rules().isDryRun ? WipedBytes() : promptForNewPin(role, token);
    }
    WipedBytes pin = readSource(source);
    if (const std::optional<std::string> fault = faultOfNewPin(pin, token.info())) {
        throw UsageError("the new PIN cannot be taken: " + *fault + "; nothing was changed");
    }
    return pin;
}

WipedBytes readPassphrase(const PinSource& source, const std::string& question, Person& person) {
    return source.kind == "prompt" ? person.secret(question + ": ") : readSource(source);
}

} // namespace host
