#pragma once

#include <string>

#include "host/plugin/Answers.h"
#include "host/view/Examination.h"
#include "host/view/Findings.h"

namespace host {

/// How the whole module stands.
enum class Verdict {
    Healthy,  ///< nothing, or notes alone
    Warnings, ///< it works, and a person should read the warnings
    Faults,   ///< something does not work
    Unusable, ///< the module does not come so far that a reader could be listed
};

struct Diagnosis {
    Verdict verdict = Verdict::Healthy;
    Json report; ///< docs/doctor.md lists its keys
};

/// Judges what an examination found. `module` is the name that was asked for, UTF-8.
[[nodiscard]] Diagnosis diagnose(const std::string& module, const Examination& examination);

/// "healthy", "warnings", "faults", "unusable"
[[nodiscard]] const char* nameOf(Verdict verdict);

} // namespace host
