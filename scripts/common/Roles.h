#pragma once

#include <optional>

#include "client/ScriptContext.h"
#include "text/SecretBuffer.h"

// Which role a script works for, and whether a stored PIN may serve it.

namespace plugin {

/// The value of a "PINID": "USER" or "SO", exactly.
[[nodiscard]] std::optional<CK_USER_TYPE> userTypeOf(const Zel::TString& value);

/// Fills `pin`, which a script was not given, from a stored one. False, with the guard's line, when that was given for
/// another role than `role`: a PIN is never tried where it does not belong. `isRoleGiven`: the script named
/// the role itself; then even a PIN that was never stored counts as one for the user.
[[nodiscard]] bool takeStoredPin(const Trace& trace, const StoredPin& stored, CK_USER_TYPE role, bool isRoleGiven,
                                 SecretBuffer& pin);

/// Calls C_Login on the script's session and traces the call. A failure is not traced: each script has a line of its
/// own.
[[nodiscard]] CK_RV login(const ScriptContext& script, const Trace& trace, CK_USER_TYPE role, SecretBuffer& pin);

} // namespace plugin
