#pragma once

#include <span>
#include <string_view>

#include "client/AccessValues.h"
#include "client/Outputs.h"
#include "token/Session.h"
#include "token/Slots.h"

namespace plugin {

/// What one script works with, and all that it can touch: the token through its slots and session, the access values,
/// its own parameters (null when the operation has none) and its outputs.
struct ScriptContext {
    Slots& slots;
    Session& session;
    AccessValues& access;
    const Zel::Vector<Zel::Parameter>* params;
    Outputs outputs;

    /// Session::loginAsUser with the stored user PIN.
    [[nodiscard]] CK_RV loginAsUser(bool& loggedIn) { return session.loginAsUser(access.userPin(), loggedIn); }
};

/// Traces which parameters an operation came with: index and id, never the value.
void traceOperationParameters(const Trace& trace, const Zel::Vector<Zel::Parameter>& params);

/// A script. The executor runs it between the trace's entry and exit lines, and with "ERROR" as its first output, which
/// the returned result fills.
struct ScriptEntry {
    std::wstring_view name; ///< what operations call it by; a literal
    const wchar_t* method;  ///< what the trace calls it by
    Result (*run)(ScriptContext& script, const Trace& trace);
};

} // namespace plugin
