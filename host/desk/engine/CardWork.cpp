#include "host/desk/engine/CardWork.h"

#include <algorithm>
#include <iterator>

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
    : m_plan(plan), m_row(row), m_claim(std::move(claim)), m_token(token), m_desk(desk), m_blank(token.info()) {
    if (!m_claim.certificate.empty()) {
        m_certificate = x509::Certificate::read(x509::viewOf(m_claim.certificate), "the certificate in the journal");
    }
}

void CardWork::run() {
    m_begun = static_cast<std::size_t>(m_claim.stepsDone) + (m_claim.isUnderWay ? 1 : 0);
    if (m_claim.isUnderWay) {
        undo(m_plan.steps[static_cast<std::size_t>(m_claim.stepsDone)]);
    }
    for (auto i = static_cast<std::size_t>(m_claim.stepsDone); i < m_plan.steps.size(); ++i) {
        endIfInterrupted();
        carryOut(i);
    }
    m_desk.journal.finish(m_claim);
}

void CardWork::carryOut(std::size_t number) {
    const Step& step = m_plan.steps[number];
    requireSameCard();
    if (step.kind == StepKind::Certify && !m_requestedKey) {
        requestAgain(number);
    }
    const std::string name(nameOf(step.kind));
    m_step = number + 1;
    m_desk.journal.beginStep(m_claim, static_cast<int>(m_step), name);
    m_desk.progress.tell({Event::Kind::Step, m_token.slot().name, m_claim.row, m_row.front(), name, ""});
    if (needsUser(step.kind)) {
        login();
    }
    doStep(step);
}

/// Somebody may change the card between two steps, and while a program of the plan runs.
void CardWork::requireSameCard() {
    m_token.refresh();
    const TokenView& now = m_token.info();
    const bool isSame = m_claim.serial.empty()
                            ? now.isInitialised == m_blank.isInitialised && now.serial == m_blank.serial
                            : now.serial == m_claim.serial;
    if (!isSame) {
        throw CardFailure(ExitStatus::NoToken,
                          "looking at the card in reader \"" + printable(m_token.slot().name) + "\"",
                          "another card is in it", "Put the card back; work on it goes on.");
    }
}

void CardWork::guardPin(PinRole role) {
    try {
        m_token.guardPin(role);
    } catch (CardFailure& failure) {
        if (failure.status == ExitStatus::Refused) {
            failure.remedy = "A batch never sends a PIN that has one try left. Take another card.";
        }
        throw;
    }
}

/// A secret of the plan, for the card that is in the reader still.
WipedBytes CardWork::secret(const std::string& name) {
    WipedBytes value = m_desk.secrets.value(name, m_row);
    requireSameCard();
    return value;
}

/// The request is not kept: who resumes work makes it anew.
void CardWork::requestAgain(std::size_t number) {
    const auto isRequest = [](const Step& step) { return step.kind == StepKind::Request; };
    const auto behind = std::make_reverse_iterator(m_plan.steps.begin() + static_cast<std::ptrdiff_t>(number));
    const auto before = std::find_if(behind, m_plan.steps.rend(), isRequest); // a plan has one before each certify
    login();
    request(*before);
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
    const WipedBytes officerPin = secret(step.soPin);
    if (m_token.info().isInitialised) {
        guardPin(PinRole::Officer);
    }
    initialiseToken(m_token, step.label.expand(m_row), officerPin);
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
    const WipedBytes officerPin = secret(m_plan.soPin());
    guardPin(PinRole::Officer);
    setUserPin(m_token, officerPin, m_pin);
}

void CardWork::login() {
    if (m_isLoggedIn) {
        return;
    }
    if (m_pin.empty()) {
        m_pin = secret(m_plan.userPin());
    }
    guardPin(PinRole::User);
    m_token.login(m_pin);
    m_isLoggedIn = true;
}

/// A step that was interrupted begins again on a card that looks as it did before.
void CardWork::undo(const Step& step) {
    requireSameCard();
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
    requireSameCard();
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
