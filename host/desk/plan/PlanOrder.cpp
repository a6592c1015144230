#include <set>

#include "host/desk/plan/PlanParts.h"

namespace host::desk {

namespace {

/// Goes through the steps and knows what the card has by then.
class Order {
public:
    explicit Order(const Plan& plan) : m_plan(plan) {}

    /// What the step lacks; empty when it can be done.
    [[nodiscard]] std::string faultOf(const Step& step);
    /// The certificate that came last is on the card.
    [[nodiscard]] bool isCertificateWritten() const noexcept { return !m_isCertified; }

private:
    [[nodiscard]] std::string key(const Step& step);
    [[nodiscard]] std::string keyUser(const Step& step) const;
    [[nodiscard]] std::string certify();
    [[nodiscard]] std::string write(const Step& step);

    const Plan& m_plan;
    bool m_isInitialised = false;
    bool m_hasPin = false;
    bool m_isCertified = false;
    std::string m_requested; ///< the identifier of the last request
    std::set<std::string> m_keys;
};

std::string Order::faultOf(const Step& step) {
    if ((step.kind == StepKind::InitToken) == m_isInitialised) {
        return m_isInitialised ? "a card is initialised once" : "the first step has to be init-token";
    }
    m_isInitialised = true;
    switch (step.kind) {
    case StepKind::InitToken:
        return "";
    case StepKind::SetPin: {
        const bool isSecond = m_hasPin;
        m_hasPin = true;
        return isSecond ? "the PIN is set already" : "";
    }
    case StepKind::GenerateKey:
    case StepKind::ImportKey:
        return key(step);
    case StepKind::Certify:
        return certify();
    case StepKind::WriteCertificate:
        return write(step);
    case StepKind::Request:
        m_requested = step.id;
        return keyUser(step);
    default:
        return keyUser(step);
    }
}

std::string Order::key(const Step& step) {
    if (!m_hasPin) {
        return "a set-pin step has to come before it";
    }
    return m_keys.insert(step.id).second ? "" : "an earlier key has this id";
}

std::string Order::keyUser(const Step& step) const {
    return m_keys.count(step.id) == 0 ? "no key with this id is made before it" : "";
}

std::string Order::certify() {
    if (m_plan.authority.arguments.empty()) {
        return "\"authority\" is missing, the program that signs";
    }
    if (m_isCertified) {
        return "the certificate before it is not written yet";
    }
    m_isCertified = true;
    return m_requested.empty() ? "a request step has to come before it" : "";
}

std::string Order::write(const Step& step) {
    const bool isThere = m_isCertified;
    m_isCertified = false;
    if (!isThere) {
        return "a certify step has to come before it";
    }
    return step.id == m_requested ? "" : "the certificate belongs to the key of the request, which has another id";
}

} // namespace

void checkOrder(const Plan& plan, const PlanNode& document, const std::vector<PlanNode>& steps) {
    Order order(plan);
    for (std::size_t i = 0; i < plan.steps.size(); ++i) {
        const std::string fault = order.faultOf(plan.steps[i]);
        if (!fault.empty()) {
            steps[i].members().front().fault(fault);
        }
    }
    if (!order.isCertificateWritten()) {
        document.fault("the last certificate is written to the card by no step");
    }
}

} // namespace host::desk
