#pragma once

#include "client/ScriptContext.h"
#include "text/SecretBuffer.h"

// What initialising and unlocking share: both set the user PIN, under the security officer's login.

namespace plugin {

struct NewUserPin {
    bool isPinIdGiven = false;
    SecretBuffer key; ///< the SO PIN; empty when an earlier script has logged in
    SecretBuffer pin;
};

/// Fails when the parameters are null, and when they are empty: `firstRequired` is then traced as missing.
[[nodiscard]] Result requireList(const ScriptContext& script, const Trace& trace, const wchar_t* firstRequired);
/// Fails unless the parameter has this value, the only one it may have.
[[nodiscard]] Result requireValue(const Trace& trace, const Zel::Parameter& parameter, const wchar_t* value);
/// Reads the SO PIN. A text that is not hexadecimal is malformed; the trace does not show it.
[[nodiscard]] Result readOfficersKey(const Trace& trace, const Zel::Parameter& parameter, SecretBuffer& key);

/// Calls C_Login for the security officer. A failure is not traced: each script has a line of its own.
[[nodiscard]] CK_RV loginAsOfficer(const ScriptContext& script, const Trace& trace, SecretBuffer& key);
/// Sets the PIN, stores it, and ends the script's own login. After a failure the security officer stays logged in.
[[nodiscard]] CK_RV setUserPin(ScriptContext& script, const Trace& trace, NewUserPin& request);

} // namespace plugin
