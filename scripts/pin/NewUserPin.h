#pragma once

#include "client/ScriptContext.h"
#include "text/SecretBuffer.h"

// The two ways to a new user PIN under the security officer's authority, initialising and unlocking, in what they
// share. Only the user PIN can be set, and only the officer can set it.

namespace plugin {

struct NewUserPin {
    bool isPinIdGiven = false;
    SecretBuffer key; ///< the officer's; empty: a login of an earlier script is relied on
    SecretBuffer pin;
};

/// Fails without a list of parameters, and with an empty one: the first required parameter is missing then.
[[nodiscard]] Result requireList(const ScriptContext& script, const Trace& trace, const wchar_t* firstRequired);
/// Fails unless the parameter has this value, the only one it may have.
[[nodiscard]] Result requireValue(const Trace& trace, const Zel::Parameter& parameter, const wchar_t* value);
/// Reads the officer's key. A text that is not hexadecimal is malformed; the trace does not show it.
[[nodiscard]] Result readOfficersKey(const Trace& trace, const Zel::Parameter& parameter, SecretBuffer& key);

/// C_Login of the officer. A failure is not traced: the scripts report it each in their way.
[[nodiscard]] CK_RV loginAsOfficer(const ScriptContext& script, const Trace& trace, SecretBuffer& key);
/// Sets the PIN, stores it, and ends the login that was made for it. After a failure the officer stays logged in.
[[nodiscard]] CK_RV setUserPin(ScriptContext& script, const Trace& trace, NewUserPin& request);

} // namespace plugin
