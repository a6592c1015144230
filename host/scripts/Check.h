#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/scripts/Scripts.h"
#include "host/scripts/ValueCheck.h"

namespace host {

/// Something that is wrong with the parameters of a script.
struct Fault {
    std::optional<std::size_t> index; ///< of the parameter; nothing when one is missing
    std::string text;                 ///< begins with the id, says what would be right, holds no value
};

/// Looks up each parameter in the script's table. Files are read; nobody is asked for a secret, and no secret is read.
///
///     std::vector<CheckedParameter> parameters = {{splitArgument("ID=hex:01")}};
///     for (const Fault& fault : check(*findScript("removeData"), parameters, Place::Command)) …
[[nodiscard]] std::vector<Fault> check(const Script& script, std::vector<CheckedParameter>& parameters, Place place);

/// The arguments of a script command, checked and read, OBJ_TYPE first. `withReader`: a reader is chosen before.
/// UsageError with a line for each fault, before a person is asked for a secret; a secret that cannot be right is
/// refused when it has been read.
[[nodiscard]] ParameterList readStrictly(const Script& script, const std::vector<std::string>& arguments,
                                         bool withReader);

} // namespace host
