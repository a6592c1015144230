#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/plugin/ParameterList.h"

namespace host {

/// One way of giving a parameter's value.
struct ParameterKind {
    const char* name; ///< "text", as before the colon and in jobs
    const char* help; ///< one line for a person
};

/// All kinds in the order in which they are explained; the plain value, which has no name before it, is not among them.
[[nodiscard]] const std::vector<ParameterKind>& parameterKinds();

/// A value as it stands: encoding 2, type 3.
[[nodiscard]] Zel::Parameter plainParameter(std::string_view id, std::string_view value);

/// A parameter of one kind, with what the kind reads (a file, a secret) read. All texts are UTF-8. UsageError when the
/// kind is not known or its source cannot be read; the message begins with the parameter's id and does not show the
/// value.
[[nodiscard]] Zel::Parameter makeParameter(std::string_view id, std::string_view kind, std::string_view value);

/// A parameter from an argument `ID=VALUE` or `ID=KIND:VALUE`. What begins with a word and a colon but names no kind
/// is refused as a misspelt kind (a single letter is no word, for it may be a drive).
[[nodiscard]] Zel::Parameter readArgument(std::string_view argument);

/// The arguments in their order; the message of a UsageError says which one is wrong.
[[nodiscard]] ParameterList readArguments(const std::vector<std::string>& arguments);

} // namespace host
