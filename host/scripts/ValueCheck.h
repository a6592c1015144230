#pragma once

#include <optional>
#include <string>

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

/// What is wrong with the kind or the value of a parameter, as far as it can be said without reading a secret: "ID:
/// ..." without the value, or empty text. A file that it names is read.
[[nodiscard]] std::string parameterFault(const ScriptParameter& row, CheckedParameter& parameter, Place place);

/// What is wrong with the bytes of a value in hexadecimal text, which may have come from a secret's source; empty text
/// when they are right.
[[nodiscard]] std::string digitsFault(const ScriptParameter& row, const Zel::TString& digits);

/// How a value is written on a command line: "ID=hex:DIGITS or ID=text:VALUE".
[[nodiscard]] std::string rightWays(const ScriptParameter& row);

} // namespace host
