#pragma once

#include <initializer_list>
#include <vector>

#include "host/cli/CardTable.h"

// The options that several card commands share.

namespace host {

inline constexpr CardOption kPinOption = {"--pin", "SOURCE", "The user PIN; default: prompt"};
inline constexpr CardOption kNewPinOption = {"--new-pin", "SOURCE", "The new user PIN; default: prompt, twice"};
inline constexpr CardOption kOfficerPinOption = {"--so-pin", "SOURCE", "The security officer's PIN; default: prompt"};
inline constexpr CardOption kYesOption = {"--yes", "", "Answer the question of the command with yes"};
inline constexpr CardOption kOutOption = {"--out", "FILE", "Write the result into FILE"};
inline constexpr CardOption kIdOption = {"--id", "HEX", "Identifier, in pairs of hexadecimal digits"};

/// Which token is meant, with `more` before.
[[nodiscard]] std::vector<CardOption> withToken(std::initializer_list<CardOption> more);
/// The same for a command that sends a PIN: what to do at the last try, and the dry run.
[[nodiscard]] std::vector<CardOption> withPin(std::initializer_list<CardOption> more);

/// Explains SOURCE, for the notes of a command that reads a PIN.
inline constexpr const char* kPinNotes =
    "SOURCE is prompt (typed without echo), env:NAME, file:PATH (nobody else may read\n"
    "it), fd:N or command:PROGRAM (its first line). A PIN never stands on the command\n"
    "line. With one try left nothing is sent unless somebody at a terminal says yes,\n"
    "or --last-try go is given.\n";

} // namespace host
