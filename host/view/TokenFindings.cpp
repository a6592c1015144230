#include "host/view/TokenFindings.h"

#include <algorithm>
#include <array>

#include "host/plugin/Texts.h"
#include "host/view/JsonFields.h"
#include "host/view/ScriptNeeds.h"

namespace host {

namespace {

/// What a PIN's state, as nameOf(PinState) has it, asks of a person.
struct PinAdvice {
    const char* state;
    Level level;
    const char* finding;
    const char* remedyForUser;
    const char* remedyForOfficer;
};

constexpr std::array<PinAdvice, 4> kPinAdvice = {{
    {"locked", Level::Fault, "is locked", "\"p11host unlock-pin\" sets it anew with the security officer's PIN.",
     "Only the card's vendor can help, if anybody can; do not try further PINs."},
    {"last try", Level::Warning, "has one try left: the next wrong one locks it",
     "Type it only when you are sure; the right one gives all tries back. If you are not sure, \"p11host unlock-pin\".",
     "Type it only when you are sure: nobody can unlock it."},
    {"was wrong", Level::Note, "was wrong at the last login", "A login with the right PIN gives all tries back.",
     "A login with the right PIN gives all tries back."},
    {"to be changed", Level::Warning, "has to be changed before the token works", "\"p11host change-pin\" changes it.",
     "\"p11host change-pin --so\" changes it."},
}};

void addPin(const std::string& whose, const std::string& state, bool isUser, Findings& findings) {
    const auto* const advice =
        std::find_if(kPinAdvice.begin(), kPinAdvice.end(), [&](const PinAdvice& row) { return state == row.state; });
    if (advice != kPinAdvice.end()) {
        findings.push_back(
            {advice->level, whose + " " + advice->finding, isUser ? advice->remedyForUser : advice->remedyForOfficer});
    }
}

/// Whether the token's mechanisms lack this one, for RSA keys of 2048 bits. A module that lists no mechanisms, or does
/// not describe this one, leaves open what the token can do.
bool lacksMechanism(const Json& slot, std::uint64_t number, const char* ability) {
    constexpr std::uint64_t kBits = 2048;
    const Json mechanisms = listIn(slot, "mechanisms");
    return !mechanisms.empty() && std::none_of(mechanisms.begin(), mechanisms.end(), [&](const Json& mechanism) {
        const std::uint64_t largest = mechanism.value("largestKey", std::uint64_t{0});
        return mechanism.value("number", std::uint64_t{0}) == number &&
               (!mechanism.value("described", true) ||
                (holds(mechanism, ability) && (largest == 0 || largest >= kBits) &&
                 mechanism.value("smallestKey", std::uint64_t{0}) <= kBits));
    });
}

std::vector<std::string> missingOf(const std::vector<const char*>& functions, const Json& missing) {
    std::vector<std::string> reasons;
    for (const char* const function : functions) {
        if (std::find(missing.begin(), missing.end(), function) != missing.end()) {
            reasons.push_back(std::string(function) + " is missing");
        }
    }
    return reasons;
}

/// What the token lacks of what a script needs, in words.
std::vector<std::string> reasonsOfToken(unsigned int needs, const Json& slot) {
    const Json token = slot.value("token", Json::object());
    const bool isBlank = !holds(token, "initialised");
    const std::string userPin = textIn(token, "userPin");
    const bool isUserLocked = userPin == "locked";
    // SoftHSM2 shows a blank token with a locked PIN, and initialises it all the same.
    const bool isOfficerLocked = !isBlank && textIn(token, "soPin") == "locked";
    if ((needs & kInitialised) != 0 && isBlank) {
        return {"the token is blank"};
    }
    const std::array<std::pair<bool, const char*>, 8> rules = {{
        {(needs & kWritable) != 0 && holds(token, "readOnly"), "the token is read-only"},
        {(needs & kUserPin) != 0 && !holds(token, "userPinSet"), "no user PIN is set"},
        {(needs & kUserPin) != 0 && isUserLocked, "the user PIN is locked"},
        {(needs & kUserPin) != 0 && userPin == "to be changed", "the user PIN has to be changed"},
        {(needs & kOfficerPin) != 0 && isOfficerLocked, "the security officer's PIN is locked"},
        {(needs & kMakesRsaKeys) != 0 && lacksMechanism(slot, 0, "generatesKeyPairs"),
         "the token makes no RSA keys of 2048 bits (CKM_RSA_PKCS_KEY_PAIR_GEN)"},
        {(needs & kSignsWithRsa) != 0 && lacksMechanism(slot, 1, "signs"),
         "the token does not sign with RSA (CKM_RSA_PKCS)"},
        {(needs & kSomePin) != 0 && isUserLocked && isOfficerLocked, "both PINs are locked"},
    }};
    std::vector<std::string> reasons;
    for (const auto& [isLacking, text] : rules) {
        if (isLacking) {
            reasons.emplace_back(text);
        }
    }
    return reasons;
}

} // namespace

void addTokenFindings(const Json& slot, Findings& findings) {
    const std::string reader = "reader \"" + textIn(slot, "reader") + "\"";
    if (slot.contains("tokenError")) {
        findings.push_back({Level::Fault, "the token in " + reader + " does not answer: " + textIn(slot, "tokenError"),
                            "Take it out and put it in again; try another reader, and another card in this one."});
        return;
    }
    const Json token = slot.value("token", Json());
    if (!token.is_object()) {
        return;
    }
    if (!holds(token, "initialised")) {
        findings.push_back(
            {Level::Note, "the token in " + reader + " is blank", "\"p11host init-token\" prepares it."});
        return;
    }
    const std::string name = "token \"" + textIn(token, "label") + "\"";
    if (textIn(slot, "session") != "CKR_OK") {
        findings.push_back({Level::Fault, name + " opens no session: " + textIn(slot, "session"),
                            "Close other programs that use the card and try again."});
    }
    if (!holds(token, "userPinSet") && !holds(token, "readOnly")) {
        findings.push_back({Level::Note, name + " has no user PIN", "\"p11host set-pin\" sets it."});
    } else {
        addPin("the user PIN of " + name, textIn(token, "userPin"), true, findings);
    }
    addPin("the security officer's PIN of " + name, textIn(token, "soPin"), false, findings);
}

Json judgeScripts(const Json& missing, const Json& slot) {
    Json list = Json::array();
    for (const ScriptNeeds& script : scriptNeeds()) {
        std::vector<std::string> reasons = missingOf(script.functions, missing);
        if (slot.contains("token")) {
            const std::vector<std::string> more = reasonsOfToken(script.token, slot);
            reasons.insert(reasons.end(), more.begin(), more.end());
        }
        Json limits = Json::array();
        for (const ObjectNeeds& object : script.objects) {
            for (const std::string& reason : missingOf(object.functions, missing)) {
                limits.push_back(std::string("no ") + object.type + ": " + reason);
            }
        }
        list.push_back(
            {{"script", script.script}, {"works", reasons.empty()}, {"reasons", reasons}, {"limits", limits}});
    }
    return list;
}

} // namespace host
