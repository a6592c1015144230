#include "host/card/TokenSteps.h"
#include "host/cli/card/CardCommands.h"
#include "host/cli/card/CardRun.h"
#include "host/cli/card/CommonOptions.h"
#include "host/plugin/Errors.h"

namespace host {

namespace {

/// "done: the token is initialised with the label "x"; the user PIN is set".
void answerDone(CardRun& run, const Token& token) {
    Json done = Json::array();
    for (const std::string& step : token.done()) {
        run.text += step + "\n";
        done.push_back(step);
    }
    run.answer["token"] = token.info().label;
    run.answer["serial"] = token.info().serial;
    run.answer["done"] = std::move(done);
}

/// A used token is erased only when that was asked for and confirmed.
void agreeToErase(CardRun& run, const Token& token) {
    if (!token.info().isInitialised) {
        return;
    }
    const std::string doing = "initialising " + token.name();
    if (!run.arguments().has("--erase")) {
        throw CardFailure(ExitStatus::Refused, doing, "it is in use; nothing was sent to the token",
                          "Give --erase if everything on it is to be destroyed.");
    }
    run.confirm(doing, "Destroy everything on " + token.name() + " (serial " + token.info().serial + ", " +
                           std::to_string(token.objects().size()) + " public objects, and private ones)?");
}

void initToken(CardRun& run) {
    const std::optional<std::string> label = run.arguments().value("--label");
    if (!label) {
        throw UsageError("--label TEXT is missing, the label that the token gets");
    }
    checkTokenLabel(*label);
    const bool setsUserPin = !run.arguments().has("--no-user-pin");
    Token& token = run.token(run.arguments().has("--erase") ? WantedToken::Initialised : WantedToken::Blank);
    agreeToErase(run, token);
    const PinSource officer = run.pinSource("--so-pin");
    const WipedBytes officerPin = token.info().isInitialised ? readCurrentPin(officer, PinRole::Officer, token)
                                                             : readNewPin(officer, PinRole::Officer, token);
    const WipedBytes userPin =
        setsUserPin ? readNewPin(run.pinSource("--new-pin"), PinRole::User, token) : WipedBytes();
    if (setsUserPin) {
        token.announce(kUserPinIsSet);
    }
    initialiseToken(token, *label, officerPin);
    if (setsUserPin) {
        goingOn("\"p11host set-pin\" then sets the user PIN.", [&] { setUserPin(token, officerPin, userPin); });
    }
    answerDone(run, token);
}

void setPin(CardRun& run) {
    Token& token = run.token();
    refuseUserPin(token);
    const WipedBytes officerPin = readCurrentPin(run.pinSource("--so-pin"), PinRole::Officer, token);
    setUserPin(token, officerPin, readNewPin(run.pinSource("--new-pin"), PinRole::User, token));
    answerDone(run, token);
}

void changeOnePin(CardRun& run) {
    Token& token = run.token();
    const bool isOfficer = run.arguments().has("--so");
    const PinRole role = isOfficer ? PinRole::Officer : PinRole::User;
    if (isOfficer ? run.arguments().has("--pin") : run.arguments().has("--so-pin")) {
        throw UsageError(isOfficer ? "--so changes the security officer's PIN, which --so-pin gives, not --pin"
                                   : "--so-pin is for --so, which changes the security officer's PIN");
    }
    const WipedBytes oldPin = readCurrentPin(run.pinSource(isOfficer ? "--so-pin" : "--pin"), role, token);
    changePin(token, role, oldPin, readNewPin(run.pinSource("--new-pin"), role, token));
    answerDone(run, token);
}

void unlockPin(CardRun& run) {
    Token& token = run.token();
    const WipedBytes officerPin = readCurrentPin(run.pinSource("--so-pin"), PinRole::Officer, token);
    unlockUserPin(token, officerPin, readNewPin(run.pinSource("--new-pin"), PinRole::User, token));
    answerDone(run, token);
}

} // namespace

CardCommand initTokenCommand() {
    return {"init-token",
            "initialise a token and set its PINs",
            {},
            withPin({{"--label", "TEXT", "The label that the token gets, 32 bytes at most"},
                     {"--so-pin", "SOURCE", "The security officer's PIN; a blank token gets it"},
                     kNewPinOption,
                     {"--no-user-pin", "", "Set no user PIN"},
                     {"--erase", "", "Initialise a used token: everything on it is destroyed"},
                     kYesOption}),
            std::string("Without a choice the only blank token is meant, with --erase the only used one.\n"
                        "  p11host init-token --label alice --so-pin file:so.pin --new-pin prompt\n") +
                kPinNotes,
            initToken};
}

CardCommand setPinCommand() {
    return {"set-pin",
            "set the first user PIN",
            {},
            withPin({kOfficerPinOption, kNewPinOption}),
            std::string("A user PIN that is set already is not touched: see change-pin and unlock-pin.\n") + kPinNotes,
            setPin};
}

CardCommand changePinCommand() {
    return {"change-pin",
            "change a PIN by who knows it",
            {},
            withPin({kPinOption,
                     {"--new-pin", "SOURCE", "The new PIN; default: prompt, twice"},
                     {"--so", "", "Change the security officer's PIN"},
                     {"--so-pin", "SOURCE", "With --so: the PIN that is valid now; default: prompt"}}),
            std::string("  p11host change-pin --token alice\n"
                        "  p11host change-pin --so --so-pin file:so.pin --new-pin env:NEW_SO\n") +
                kPinNotes,
            changeOnePin};
}

CardCommand unlockPinCommand() {
    return {"unlock-pin",
            "set a locked or forgotten user PIN anew",
            {},
            withPin({kOfficerPinOption, kNewPinOption}),
            std::string("The security officer's PIN allows it. Objects on the token stay.\n") + kPinNotes,
            unlockPin};
}

} // namespace host
