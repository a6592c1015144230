#pragma once

#include <functional>
#include <string_view>

#include "host/desk/plan/Plan.h"
#include "platform/Command.h"

namespace host::desk {

/// What became of one try.
enum class Verdict { Taken, TryAgain, GiveUp };

/// Runs a command of the plan for one person until `judge` takes its answer, gives up, or the tries are used up.
/// Returns true when an answer was taken. `judge` gets each result, that of a failed start included. Interrupted
/// instead of a further try when the program was asked to end.
bool runPlanned(const PlannedCommand& command, const RowValues& row, std::string_view input,
                const std::function<Verdict(platform::CommandResult& result)>& judge);

/// Why a command did not do what it was asked for: "./sign ended with status 1: no such profile". Empty when it ended
/// with status 0.
[[nodiscard]] std::string faultOf(const PlannedCommand& command, const platform::CommandResult& result);

/// UsageError that names all programs of the plan that cannot be started: the authority's, those that print secrets and
/// those that random PINs are handed to.
void requirePrograms(const Plan& plan);

} // namespace host::desk
