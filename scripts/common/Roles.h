#pragma once

#include <optional>

#include "client/ScriptContext.h"
#include "text/SecretBuffer.h"

// Which role a script works for, and whether a stored PIN may serve it.

namespace plugin {

/// The value of a "PINID": "USER" or "SO", exactly.
[[nodiscard]] std::optional<CK_USER_TYPE> userTypeOf(const Zel::TString& value);

/// Fills `pin` from a stored PIN, for an operation without a PIN parameter. Returns false, with a trace line, when the
/// stored PIN belongs to another role: a PIN is never tried for a role that it was not given for. `isRoleGiven` is true
/// when the operation names the role; a PIN that was never stored then counts as a user PIN.
[[nodiscard]] bool takeStoredPin(const Trace& trace, const StoredPin& stored, CK_USER_TYPE role, bool isRoleGiven,
                                 SecretBuffer& pin);

/// Calls C_Login on the script's session and traces the call. A failure is not traced: each script has a line of its
/// own.
[[nodiscard]] CK_RV login(const ScriptContext& script, const Trace& trace, CK_USER_TYPE role, SecretBuffer& pin);

} // namespace plugin
