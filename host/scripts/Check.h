#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/scripts/Parameters.h"
#include "host/scripts/Scripts.h"
#include "text/Wiped.h"

namespace host {

/// Where the parameters of a script stand: on a command line, where nothing comes from elsewhere, or in a job, where an
/// earlier step may have given what is missing, and PINs may be hexadecimal text.
enum class Place { Command, Job };

/// A parameter to be checked.
struct CheckedParameter {
    WrittenParameter written;
    std::optional<int> encoding = std::nullopt; ///< of a parameter in a job's list, whose value has no kind
    WipedBytes file = {};                       ///< the bytes of the file that it names, as DER, once it is checked
};

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
