#include "host/card/TokenSteps.h"

#include <algorithm>

#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

constexpr std::size_t kLabelLength = 32;

} // namespace

void checkTokenLabel(const std::string& label) {
    if (label.empty() || label.size() > kLabelLength) {
        throw UsageError("a token's label has 1 to 32 bytes, and this one has " + std::to_string(label.size()));
    }
    if (hasControl(label) || toUtf8(toTString(label)) != label) {
        throw UsageError("a token's label is readable UTF-8 text without control characters");
    }
}

void initialiseToken(Token& token, const std::string& label, const WipedBytes& officerPin) {
    const bool isUsed = token.info().isInitialised;
    const std::string filled = label + std::string(kLabelLength - label.size(), ' ');
    ScriptCall call(isUsed ? "recycle" : "init");
    call.plain(isUsed ? "RECYCLE_KEYID" : "INIT_KEYID", "SO")
        .secret(isUsed ? "RECYCLE_KEY" : "INIT_KEY", officerPin)
        .text("LABEL", filled);
    token.run("initialising", call);
    if (!token.rules().isDryRun) {
        token.refresh();
        token.note(std::string("the token is ") + (isUsed ? "erased and " : "") + "initialised with the label \"" +
                   label + "\"");
    }
}

void refuseUserPin(const Token& token) {
    if (token.info().hasUserPin) {
        throw CardFailure(ExitStatus::Refused, "setting the user PIN of " + token.name(), "a user PIN is set already",
                          "Change it with \"p11host change-pin\", or set it anew with \"p11host unlock-pin\".");
    }
}

void setUserPin(Token& token, const WipedBytes& officerPin, const WipedBytes& newPin) {
    ScriptCall call("initAuthenticator");
    call.plain("INIT_KEYID", "SO").secret("INIT_KEY", officerPin).plain("PINID", "USER").secret("PIN", newPin);
    token.run("setting the user PIN", call);
    token.note(kUserPinIsSet);
}

void changePin(Token& token, PinRole role, const WipedBytes& oldPin, const WipedBytes& newPin) {
    ScriptCall call("changeAuthenticator");
    call.plain("PINID", role == PinRole::User ? "USER" : "SO").secret("OLD_PIN", oldPin).secret("NEW_PIN", newPin);
    token.run(std::string("changing ") + nameOf(role), call);
    token.note(std::string(nameOf(role)) + " is changed");
}

void unlockUserPin(Token& token, const WipedBytes& officerPin, const WipedBytes& newPin) {
    ScriptCall call("unlockAuthenticator");
    call.plain("UNLOCK_TYPE", "STATIC")
        .plain("UNLOCK_KEYID", "SO")
        .secret("UNLOCK_KEY", officerPin)
        .plain("PINID", "USER")
        .secret("PIN", newPin);
    token.run("setting the user PIN anew", call);
    token.note("the user PIN is set anew");
}

} // namespace host
