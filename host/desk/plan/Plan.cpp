#include "host/desk/plan/Plan.h"

#include <algorithm>
#include <set>

#include "host/desk/plan/PlanParts.h"
#include "host/plugin/Errors.h"
#include "host/plugin/Texts.h"

namespace host::desk {

namespace {

constexpr std::size_t kLongestName = 64;
constexpr std::size_t kMostColumns = 64;
constexpr std::size_t kMostSteps = 64;
constexpr int kMostAttempts = 10;

void readColumns(const PlanNode& node, Plan& plan) {
    std::set<std::string> seen;
    for (const PlanNode& column : node.list(1, kMostColumns)) {
        const std::string name = column.text(kLongestName);
        if (name.find_first_of("{}") != std::string::npos) {
            column.fault("a column's name has no braces");
        }
        if (!seen.insert(name).second) {
            column.fault("the column stands twice in the list");
        }
        plan.columns.push_back(name);
    }
}

void readSecrets(const PlanNode& node, Plan& plan) {
    if (!node.is(JsonTree::Kind::Object)) {
        return;
    }
    const std::vector<PlanNode> secrets = node.members();
    for (std::size_t i = 0; i < secrets.size(); ++i) {
        const std::string& name = node.tree().members[i].name;
        if (name.empty() || columns(name) > kLongestName) {
            secrets[i].fault("a secret's name has 1 to 64 characters");
        }
        plan.secrets[name] = readSecret(secrets[i], plan.columns);
    }
}

void readRules(const PlanNode& document, Plan& plan) {
    if (const std::optional<PlanNode> used = document.find("usedCard")) {
        plan.usedCard = static_cast<UsedCard>(used->oneOf({"refuse", "erase"}));
    }
    if (const std::optional<PlanNode> failure = document.find("onFailure")) {
        plan.onFailure = static_cast<OnFailure>(failure->oneOf({"stop", "rollback", "retry"}));
    }
    if (const std::optional<PlanNode> attempts = document.find("attempts")) {
        plan.attempts = attempts->number(1, kMostAttempts);
    }
    if (const std::optional<PlanNode> interruption = document.find("onInterruption")) {
        plan.onInterruption = static_cast<OnInterruption>(interruption->oneOf({"resume", "erase"}));
    }
}

void readSteps(const PlanNode& document, Plan& plan, const PlanFaults& faults) {
    const std::optional<PlanNode> list = document.require("steps");
    const std::vector<PlanNode> nodes = list ? list->list(1, kMostSteps) : std::vector<PlanNode>();
    for (const PlanNode& node : nodes) {
        plan.steps.push_back(readStep(node, plan));
    }
    if (faults.lines.empty()) { // else the order would be that of steps that were not read
        checkOrder(plan, document, nodes);
    }
}

void readDocument(const PlanNode& document, Plan& plan, const PlanFaults& faults) {
    document.allowOnly({"$schema", "plan", "columns", "secrets", "usedCard", "onFailure", "attempts", "onInterruption",
                        "authority", "steps"});
    if (const std::optional<PlanNode> name = document.require("plan")) {
        plan.name = name->text(kLongestName);
    }
    if (const std::optional<PlanNode> list = document.require("columns")) {
        readColumns(*list, plan);
    }
    if (const std::optional<PlanNode> secrets = document.require("secrets")) {
        readSecrets(*secrets, plan);
    }
    if (const std::optional<PlanNode> authority = document.find("authority")) {
        plan.authority = readCommand(*authority, plan.columns);
    }
    readRules(document, plan);
    readSteps(document, plan, faults);
}

std::string digestText(std::string_view bytes) {
    const x509::Bytes digest = x509::digestOf(x509::Hash::Sha256, x509::viewOf(bytes));
    return hexadecimalText({reinterpret_cast<const char*>(digest.data()), digest.size()});
}

} // namespace

bool Plan::hasRandomPin() const {
    const std::string pin = userPin();
    return !pin.empty() && secrets.at(pin).kind == SecretKind::Random;
}

std::string Plan::tokenLabel(const RowValues& row) const {
    return steps.front().label.expand(row);
}

std::string Plan::userPin() const {
    const auto found =
        std::find_if(steps.begin(), steps.end(), [](const Step& step) { return step.kind == StepKind::SetPin; });
    return found == steps.end() ? "" : found->pin;
}

Plan readPlan(std::string_view json, const std::string& file) {
    const JsonTree tree = readJsonTree(json, file);
    PlanFaults faults{file, {}};
    const PlanNode document(tree, "", faults);
    Plan plan;
    if (document.is(JsonTree::Kind::Object)) {
        readDocument(document, plan, faults);
    }
    if (!faults.lines.empty()) {
        std::string text;
        for (const std::string& line : faults.lines) {
            text += (text.empty() ? "" : "\n") + line;
        }
        throw UsageError(text);
    }
    plan.digest = digestText(json);
    return plan;
}

} // namespace host::desk
