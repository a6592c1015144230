#include "host/card/Token.h"

#include "host/plugin/Spinner.h"
#include "host/plugin/Texts.h"

namespace host {

namespace {

constexpr const char* kLastTryRemedy =
    "Make sure of the PIN, then answer yes at a terminal or give --last-try go: a wrong PIN locks it.";

CardFailure fromModule(const std::string& doing, const ModuleError& error) {
    CardFailure failure(ExitStatus::Failed, doing, error.function() + " failed",
                        "Run it again; if it fails again, look into the module's own log.");
    failure.result = error.result();
    const bool isGone = failure.result == "CKR_TOKEN_NOT_PRESENT" || failure.result == "CKR_DEVICE_REMOVED";
    failure.status = isGone ? ExitStatus::NoToken : ExitStatus::Failed;
    return failure;
}

} // namespace

const char* nameOf(PinRole role) {
    return role == PinRole::User ? "the user PIN" : "the security officer's PIN";
}

Token::Token(Session& session, const ModuleView& view, SlotView slot, const std::string& readerPrefix, Person& person,
             CardRules rules)
    : m_session(session), m_view(view), m_slot(std::move(slot)), m_person(person), m_rules(rules) {
    ScriptCall choice("getPlatformIdentifiers");
    choice.text("READERNAME", readerPrefix + m_slot.name);
    const ScriptAnswer answer = session.run(choice.script(), choice.parameters());
    if (answer.status() != ExitStatus::Success) {
        throw failureOf("choosing " + name(), answer);
    }
}

std::string Token::name() const {
    return m_slot.token && m_slot.token->isInitialised ? "token \"" + printable(m_slot.token->label) + "\""
                                                       : "the blank token in reader \"" + printable(m_slot.name) + "\"";
}

void Token::refresh() {
    SlotView now;
    try {
        now = m_view.slot(m_slot.id);
    } catch (const ModuleError& error) {
        throw fromModule(at("looking"), error);
    }
    if (!now.token) {
        throw CardFailure(ExitStatus::NoToken, at("looking"), "the token was removed", "Put it in and run it again.");
    }
    m_slot = std::move(now);
}

std::vector<ObjectView> Token::objects() const {
    try {
        return m_view.objects(m_slot.id);
    } catch (const ModuleError& error) {
        throw fromModule("reading the objects of " + name(), error);
    }
}

void Token::guardPin(PinRole role) {
    refresh();
    const PinState state = role == PinRole::User ? info().userPin : info().officerPin;
    const std::string pin = std::string(nameOf(role)) + " of " + name();
    if (state == PinState::Locked) {
        throw CardFailure(ExitStatus::PinLocked, "asking how " + pin + " stands", "it is locked; no PIN was sent",
                          role == PinRole::User ? "\"p11host unlock-pin\" sets it anew with the security officer's PIN."
                                                : "Only the card's vendor can help now, if anybody can.");
    }
    if (state != PinState::LastTry || m_rules.lastTry == LastTry::Go || m_rules.isDryRun) {
        return;
    }
    const bool isAllowed =
        m_rules.lastTry == LastTry::Ask &&
        m_person.agrees("One try is left for " + pin + ": a wrong PIN locks it. Go on?").value_or(false);
    if (!isAllowed) {
        throw CardFailure(ExitStatus::Refused, "asking how " + pin + " stands", "one try is left; no PIN was sent",
                          kLastTryRemedy);
    }
}

void Token::login(const WipedBytes& pin) {
    ScriptCall call("authenticate");
    call.plain("AUTH_TYPE", "STATIC").plain("PINID", "USER").secret("PIN", pin);
    run("logging the user in", call);
}

std::optional<ScriptAnswer> Token::run(const std::string& doing, const ScriptCall& call) {
    if (m_rules.isDryRun) {
        m_planned.push_back(call.shown());
        return std::nullopt;
    }
    const Spinner spinner(printable(doing), m_rules.showsProgress, [&](std::string_view text) { m_person.show(text); });
    ScriptAnswer answer = m_session.run(call.script(), call.parameters());
    if (answer.status() != ExitStatus::Success) {
        throw failureOf(at(doing), answer);
    }
    return answer;
}

void Token::announce(const std::string& step) {
    m_open.push_back(step);
}

void Token::note(const std::string& step) {
    std::erase(m_open, step);
    m_done.push_back(step);
}

} // namespace host
