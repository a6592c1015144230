#pragma once

#include "host/desk/plan/Plan.h"
#include "host/desk/plan/PlanNode.h"

// Parts of a plan, which readPlan puts together. What they find wrong is added to the node's faults.

namespace host::desk {

/// Text with columns in it, not empty.
[[nodiscard]] Template readTemplate(const PlanNode& node, const std::vector<std::string>& columns);
/// {"command": ["./program", "{number}"], "timeout": 30, "retries": 2}.
[[nodiscard]] PlannedCommand readCommand(const PlanNode& node, const std::vector<std::string>& columns);
/// {"env": …}, {"file": …}, {"command": …} or {"random": …, "deliver": …}.
[[nodiscard]] SecretSource readSecret(const PlanNode& node, const std::vector<std::string>& columns);
/// {"generate-key": {…}}.
[[nodiscard]] Step readStep(const PlanNode& node, const Plan& plan);

/// What one step needs of those before it. `steps` are the nodes of the plan's steps.
void checkOrder(const Plan& plan, const PlanNode& document, const std::vector<PlanNode>& steps);

} // namespace host::desk
