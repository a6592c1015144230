#pragma once

#include <span>
#include <string_view>

#include "client/AccessValues.h"
#include "client/Outputs.h"
#include "token/Session.h"
#include "token/Slots.h"

namespace plugin {

/// All that a script can use: the token through slots and session, the access values, the operation's parameters (null
/// for an operation without parameters) and the outputs.
struct ScriptContext {
    Slots& slots;
    Session& session;
    AccessValues& access;
    const Zel::Vector<Zel::Parameter>* params;
    Outputs outputs;

    /// Session::loginAsUser with the stored user PIN.
    [[nodiscard]] CK_RV loginAsUser(bool& loggedIn) { return session.loginAsUser(access.userPin(), loggedIn); }
};

/// Traces the index and the id of each operation parameter, never its value.
void traceOperationParameters(const Trace& trace, const Zel::Vector<Zel::Parameter>& params);

/// A row of the table of scripts. The executor writes the entry line, appends "ERROR" as the first output, runs the
/// script, sets "ERROR" to the result, and writes the exit line.
struct ScriptEntry {
    std::wstring_view name; ///< the name in operations; a literal
    const wchar_t* method;  ///< the name in the trace
    Result (*run)(ScriptContext& script, const Trace& trace);
};

} // namespace plugin
