#pragma once

#include <string>

#include "host/cli/Options.h"
#include "host/plugin/FailureNotes.h"
#include "host/plugin/Output.h"
#include "host/plugin/ParameterList.h"

namespace host {

/// Refuses "removeData" without anything to choose objects by, unless --all is given; and --all with it.
void refuseBoundlessRemoval(const Options& options);

/// Says what "removeData" is going to remove, and asks when somebody watches. Refused when the answer is no.
void confirmRemoval(const Output& output, const ParameterList& parameters);

/// "2 objects removed", with a line end.
[[nodiscard]] std::string removedText(const Failures& failures);

} // namespace host
