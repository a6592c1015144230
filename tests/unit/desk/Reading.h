#pragma once

#include <string>

#include "host/desk/plan/Plan.h"
#include "host/plugin/Errors.h"

namespace tests {

/// What `read` refuses, as a person reads it; empty when it refuses nothing.
template <class Read>
std::string refusal(Read&& read) {
    try {
        read();
        return "";
    } catch (const host::UsageError& error) {
        return error.what();
    }
}

/// A plan with everything that most tests need, one value a line.
inline const std::string kPlan = R"({
"plan": "employee card",
"columns": ["number", "name"],
"secrets": {
  "so": {"env": "SO_PIN"},
  "pin": {"random": "6 digits", "deliver": {"command": ["./mail-pin", "{number}"]}}
},
"usedCard": "refuse",
"onFailure": "rollback",
"authority": {"command": ["./sign-request", "{number}"], "timeout": 30, "retries": 2},
"steps": [
  {"init-token": {"label": "{name}", "soPin": "so"}},
  {"set-pin": {"pin": "pin"}},
  {"generate-key": {"id": "01", "label": "{name}", "size": 2048}},
  {"request": {"id": "01", "subject": "/O=Example/CN={name}"}},
  {"certify": {}},
  {"write-certificate": {"id": "01"}},
  {"check": {"id": "01"}}
]})";

/// kPlan with the first `old` replaced.
inline std::string planWith(const std::string& old, const std::string& now) {
    std::string plan = kPlan;
    return plan.replace(plan.find(old), old.size(), now);
}

} // namespace tests
