#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "host/scripts/JobReader.h"
#include "host/scripts/Parameters.h"
#include "zel/TString.h"

namespace host {

/// What a step of a job calls.
enum class Call {
    NewInstance,
    Initialize,
    Execute,
    Terminate,
    FreeInstance,
    GetVersion,
    GetType,
    GetName,
    GetDescription,
    GetSupportedScripts,
    Validate,
    IsLocal,
};

/// The operation of an "execute" step.
// NOLINTNEXTLINE(bugprone-exception-escape): the check takes its implicit moves for noexcept
struct OperationStep {
    Zel::TString id;
    Zel::TString scriptType;
    Zel::TString script;
    std::optional<ParameterList> parameters; ///< nothing: null is passed
};

/// A step that has been read and found well formed.
struct Step {
    Call call = Call::Validate;
    std::string name;                    ///< of the call, "getVersion"
    std::optional<std::string> instance; ///< "as" or "on"; nothing for "freeInstance" with "on": null
    bool hasParameters = false;          ///< "newInstance" with a key "parameters", also when it is null
    std::optional<ParameterList> parameters;
    std::optional<ParameterList> accessParameters;
    std::optional<ParameterList> runtimeParameters;
    std::optional<OperationStep> operation; ///< nothing: null is passed
};

/// A parameter as it is written in a step.
struct StepParameter {
    WrittenParameter written;
    std::optional<std::pair<int, int>> numbers; ///< encoding and type, of a parameter in a list
};

/// Makes a parameter of what is written in a step.
using TakeParameter = std::function<Zel::Parameter(const StepParameter& parameter)>;

/// Reads what the parameter refers to (a file, a secret).
[[nodiscard]] Zel::Parameter readStepParameter(const StepParameter& parameter);

/// Reads a step; its parameters are as `take` makes them. `number` is the step's, which an operation without an id
/// takes as its id. UsageError says which key is wrong and what would be right.
[[nodiscard]] Step readStep(const JobJson& value, std::size_t number, const TakeParameter& take = readStepParameter);

} // namespace host
