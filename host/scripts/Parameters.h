#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/plugin/ParameterList.h"
#include "text/Wiped.h"

namespace host {

/// How many parameters one call may be given. The plug-in's scripts know a few dozen; the framework's vector, which
/// grows by five, would take half a minute for 300,000.
inline constexpr std::size_t kMostParameters = 4096;
/// UsageError when `count` is more; its message says so of `what`.
void refuseTooMany(std::size_t count, const std::string& what);

/// One way of giving a parameter's value.
struct ParameterKind {
    const char* name; ///< "text", as before the colon and in jobs
    const char* help; ///< one line for a person
};

/// All kinds in the order in which they are explained; the plain value, which has no name before it, is not among them.
[[nodiscard]] const std::vector<ParameterKind>& parameterKinds();

/// A value as it stands: encoding 2, type 3.
[[nodiscard]] Zel::Parameter plainParameter(std::string_view id, std::string_view value);

/// The bytes of a file that has been read: encoding 1, type 2.
[[nodiscard]] Zel::Parameter fileParameter(std::string_view id, const WipedBytes& bytes);

/// A parameter of one kind, with what the kind reads (a file, a secret) read. All texts are UTF-8. UsageError when the
/// kind is not known or its source cannot be read; the message begins with the parameter's id and does not show the
/// value.
[[nodiscard]] Zel::Parameter makeParameter(std::string_view id, std::string_view kind, std::string_view value);

/// A parameter as it is written; what it names has not been read. The texts belong to where it stands.
struct WrittenParameter {
    std::string_view id;
    std::string_view kind; ///< "hex"; empty: a plain value
    std::string_view value;
};

/// Splits an argument `ID=VALUE` or `ID=KIND:VALUE`. A word and a colon at the begin of a value are its kind, known or
/// unknown; a single letter is not a word, because it may be a drive. UsageError when the id or the "=" is missing.
[[nodiscard]] WrittenParameter splitArgument(std::string_view argument);

/// The plain value, or makeParameter of its kind.
[[nodiscard]] Zel::Parameter readParameter(const WrittenParameter& written);

/// What is wrong with the word before a value when it names no kind; empty when it names one.
[[nodiscard]] std::string kindFault(std::string_view word);

/// readParameter of splitArgument.
[[nodiscard]] Zel::Parameter readArgument(std::string_view argument);

/// The arguments in their order, kMostParameters at most; the message of a UsageError says which one is wrong.
[[nodiscard]] ParameterList readArguments(const std::vector<std::string>& arguments);

} // namespace host
