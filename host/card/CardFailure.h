#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "host/plugin/ExitStatus.h"
#include "host/scripts/Session.h"

namespace host {

/// Why a card command did not do what it was asked for, in three parts: what was being done, the reason, and what to
/// do.
struct CardFailure : public std::runtime_error {
    CardFailure(ExitStatus endsWith, std::string what, std::string why, std::string help)
        : std::runtime_error(what), status(endsWith), doing(std::move(what)), reason(std::move(why)),
          remedy(std::move(help)) {}

    ExitStatus status;
    std::string doing; ///< "changing the user PIN of token \"alice\""
    std::string reason;
    std::string remedy;
    std::optional<unsigned int> code; ///< the plug-in's client code
    std::string result;               ///< "CKR_PIN_INCORRECT"; empty when no call of the module failed
};

/// Runs `step` of a command that has done something already: a failure gets `advice` on how to go on behind its own.
template <class Step>
void goingOn(const std::string& advice, Step&& step) {
    try {
        step();
    } catch (CardFailure& failure) {
        failure.remedy += " " + advice;
        throw;
    }
}

/// What a script's answer other than success means.
[[nodiscard]] CardFailure failureOf(const std::string& doing, const ScriptAnswer& answer);

} // namespace host
