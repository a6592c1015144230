#include "host/card/CardFailure.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/plugin/Advice.h"
#include "host/plugin/ClientCodes.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

/// The plug-in's advice names scripts; where a card command serves better, it is named here. An empty script stands for
/// all, an empty result for a code without one.
struct Remedy {
    std::string_view script;
    unsigned int code;
    std::string_view result;
    const char* text;
};

constexpr const char* kLooking = "\"p11host objects\" lists what is on the token; private objects are seen by who has "
                                 "logged in.";
constexpr const char* kDoNotGuess =
    "Nothing was changed. Do not guess: a few wrong tries lock the PIN. \"p11host status\" "
    "shows how it stands.";

constexpr std::array kRemedies = {
    Remedy{"authenticate", 33006, "CKR_PIN_INCORRECT", kDoNotGuess},
    Remedy{"changeAuthenticator", 33006, "CKR_PIN_INCORRECT", kDoNotGuess},
    Remedy{"authenticate", 33007, "CKR_PIN_LOCKED",
           "\"p11host unlock-pin\" sets it anew with the security officer's PIN."},
    Remedy{"", 33007, "CKR_PIN_EXPIRED", "Change it with \"p11host change-pin\" (--so for the security officer's)."},
    Remedy{"", 33013, "CKR_USER_PIN_NOT_INITIALIZED",
           "Set it with \"p11host set-pin\" and the security officer's PIN."},
    Remedy{"", 33002, "CKR_TOKEN_NOT_RECOGNIZED", "Run \"p11host init-token\" on a blank token."},
    Remedy{"", 33011, "", kLooking},
    Remedy{"", 33014, "CKR_DEVICE_MEMORY", "Free space on the token with \"p11host remove\"."},
    Remedy{"generateKeyPair", 33013, "CKR_MECHANISM_INVALID",
           "Make the key elsewhere and bring it in with \"p11host import-key\"."},
    Remedy{"", 33015, "CKR_GENERAL_ERROR",
           "Another program may be using the token just now: run it again. Otherwise look at \"--trace -\" and at the "
           "module's own log."},
};

std::string remedyFor(const std::string& script, unsigned int code, const Advice& advice) {
    const auto* found = std::find_if(kRemedies.begin(), kRemedies.end(), [&](const Remedy& remedy) {
        return (remedy.script.empty() || remedy.script == script) && remedy.code == code &&
               remedy.result == advice.result;
    });
    return found == kRemedies.end() ? advice.remedy : found->text;
}

} // namespace

CardFailure failureOf(const std::string& doing, const ScriptAnswer& answer) {
    if (answer.thrown) {
        CardFailure failure(answer.status(), doing, printable(answer.thrown->message),
                            "Run it again with \"--trace -\", which shows what led to it.");
        failure.code = answer.thrown->code ? parseClientCode(*answer.thrown->code) : std::nullopt;
        return failure;
    }
    const std::optional<unsigned int> code =
        answer.response ? errorOf(answer.response->getResponseParameters()) : std::nullopt;
    const Circumstances circumstances{.script = answer.script, .failures = answer.failures};
    const Advice advice = code.value_or(0) == 0 ? adviceForSilence(circumstances) : adviceFor(*code, circumstances);
    CardFailure failure(answer.status(), doing, advice.meaning, remedyFor(answer.script, code.value_or(0), advice));
    failure.code = code;
    failure.result = advice.result;
    return failure;
}

} // namespace host
