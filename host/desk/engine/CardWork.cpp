#include "host/desk/engine/CardWork.h"

#include <algorithm>

#include "host/card/KeySteps.h"
#include "host/card/NewPin.h"
#include "host/card/Removal.h"
#include "host/card/TokenSteps.h"
#include "host/desk/engine/Authority.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

bool makesObjects(StepKind kind) {
    return kind == StepKind::GenerateKey || kind == StepKind::ImportKey || kind == StepKind::WriteCertificate;
}

bool needsUser(StepKind kind) {
    return kind != StepKind::InitToken && kind != StepKind::SetPin && kind != StepKind::Certify;
}

} // namespace

CardWork::CardWork(const Plan& plan, const RowValues& row, Claim claim, Token& token, Desk desk)
    : m_plan(plan), m_row(row), m_claim(std::move(claim)), m_token(token), m_desk(desk) {
    if (!m_claim.certificate.empty()) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(m_claim.certificate.data());
        m_certificate = x509::Certificate::read({bytes, m_claim.certificate.size()}, "the certificate in the journal");
    }
}

/// The request is not kept: who has to ask the authority makes it anew.
std::size_t CardWork::firstStep() const {
    auto first = static_cast<std::size_t>(m_claim.stepsDone);
    if (first < m_plan.steps.size() && m_plan.steps[first].kind == StepKind::Certify) {
        while (first > 0 && m_plan.steps[first].kind != StepKind::Request) {
            --first;
        }
    }
    return first;
}

void CardWork::run() {
    m_begun = static_cast<std::size_t>(m_claim.stepsDone) + (m_claim.isUnderWay ? 1 : 0);
    if (m_claim.isUnderWay) {
        undo(m_plan.steps[static_cast<std::size_t>(m_claim.stepsDone)]);
    }
    for (std::size_t i = firstStep(); i < m_plan.steps.size(); ++i) {
        const Step& step = m_plan.steps[i];
        endIfInterrupted();
        const std::string name(nameOf(step.kind));
        m_desk.journal.beginStep(m_claim, static_cast<int>(i) + 1, name);
        m_begun = std::max(m_begun, i + 1);
        m_desk.progress.tell({Event::Kind::Step, m_token.slot().name, m_claim.row, m_row.front(), name, ""});
        if (needsUser(step.kind)) {
            login();
        }
        doStep(step);
    }
    m_desk.journal.finish(m_claim);
}

void CardWork::doStep(const Step& step) {
    switch (step.kind) {
    case StepKind::InitToken:
        return initialise(step);
    case StepKind::SetPin:
        return setPin(step);
    case StepKind::GenerateKey:
        return generate(step);
    case StepKind::ImportKey:
        return import(step);
    case StepKind::Request:
        return request(step);
    case StepKind::Certify:
        return certify();
    case StepKind::WriteCertificate:
        return write(step);
    case StepKind::NameContainer:
        return name(step);
    case StepKind::Check:
        return check(step);
    }
}

void CardWork::initialise(const Step& step) {
    if (m_token.info().isInitialised) {
        m_token.guardPin(PinRole::Officer);
    }
    initialiseToken(m_token, step.label.expand(m_row), m_desk.secrets.value(step.soPin, m_row));
    const std::string serial = m_token.info().serial;
    if (serial.empty()) {
        throw CardFailure(ExitStatus::Failed, "reading the serial number of " + m_token.name(), "the card has none",
                          "Cards without a serial number cannot be told apart; issue them one by one.");
    }
    m_desk.journal.setSerial(m_claim, serial);
    m_claim.serial = serial;
}

void CardWork::setPin(const Step& step) {
    m_token.refresh();
    if (m_plan.hasRandomPin()) {
        refuseUserPin(m_token);
    }
    if (m_token.info().hasUserPin) {
        return; // set before an interruption
    }
    m_pin = m_desk.secrets.newPin(step.pin, m_row);
    if (const std::optional<std::string> fault = faultOfNewPin(m_pin, m_token.info())) {
        throw CardFailure(ExitStatus::Refused, "setting the user PIN of " + m_token.name(), *fault,
                          "Give the plan a secret that the cards take.");
    }
    setUserPin(m_token, m_desk.secrets.value(m_plan.soPin(), m_row), m_pin);
}

void CardWork::login() {
    if (m_isLoggedIn) {
        return;
    }
    m_token.guardPin(PinRole::User);
    if (m_pin.empty()) {
        m_pin = m_desk.secrets.value(m_plan.userPin(), m_row);
    }
    m_token.login(m_pin);
    m_isLoggedIn = true;
}

/// A step that was interrupted begins again on a card that looks as it did before.
void CardWork::undo(const Step& step) {
    if (makesObjects(step.kind)) {
        const std::string left = removeObjectsOf(step);
        if (!left.empty()) {
            throw CardFailure(ExitStatus::Failed, "removing what an interrupted step left on " + m_token.name(),
                              "these objects cannot be removed alone: " + left,
                              "\"p11host issue retry\" begins anew with an erased card.");
        }
    }
}

std::string CardWork::removeObjectsOf(const Step& step) {
    login();
    RemovalRequest request;
    request.id = step.id;
    request.certificates = step.kind == StepKind::WriteCertificate;
    request.keys = !request.certificates;
    const Removal removal = planRemoval(m_token.objects(), request);
    if (!removal.going.empty()) {
        [[maybe_unused]] const RemovedCounts counts = removeObjects(m_token, removal);
    }
    std::string left;
    for (const ObjectView& object : removal.staying) {
        left += (left.empty() ? "" : "; ") + describe(object);
    }
    return left;
}

std::string CardWork::rollBack() {
    std::string left;
    for (std::size_t i = m_begun; i > 0; --i) {
        const Step& step = m_plan.steps[i - 1];
        if (makesObjects(step.kind)) {
            const std::string staying = removeObjectsOf(step);
            left += (left.empty() || staying.empty() ? "" : "; ") + staying;
        }
    }
    return left;
}

} // namespace host::desk
