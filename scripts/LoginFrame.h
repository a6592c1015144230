#pragma once

#include "client/Script.h"

// How scripts that need the user come to a login, and end the one that they made themselves.

namespace scripts {

/// Tells the operation's parameters, reads access values from them and logs the user in; a failure is told. `loggedIn`
/// as in Session::loginAsUser. Throws as AccessValues::readForScript.
[[nodiscard]] CK_RV readAndLogin(Script& script, const Trace& trace, bool& loggedIn);
/// The same for scripts that cannot do without parameters.
[[nodiscard]] Result requireAndLogin(Script& script, const Trace& trace, bool& loggedIn);

/// Ends the script's own login when an exception ends the script: a card must not stay logged in. The token is asked
/// once only, because one that is short of memory too might never agree.
class LoginGuard {
public:
    /// All three outlive the guard; `loggedIn` is looked at when it goes.
    LoginGuard(const Session& session, const Trace& trace, const bool& loggedIn);
    LoginGuard(const LoginGuard&) = delete;
    LoginGuard& operator=(const LoginGuard&) = delete;
    LoginGuard(LoginGuard&&) = delete;
    LoginGuard& operator=(LoginGuard&&) = delete;
    ~LoginGuard();

private:
    const Session& m_session;
    const Trace& m_trace;
    const bool& m_loggedIn;
    int m_exceptions;
};

enum class LogoutTrace { AnnouncedOnce, AnnouncedEachTime };

/// Logs out, again and again until the token agrees: a card must not stay logged in. There is no limit, unless the
/// module has no such function. Returns the last refusal, CKR_OK when there was none.
CK_RV logoutUntilDone(const Session& session, const Trace& trace, LogoutTrace style = LogoutTrace::AnnouncedEachTime);

/// The result of a script whose logout counts: a refusal along the way takes the place of everything but a client code.
[[nodiscard]] Result afterLogout(const Session& session, const Trace& trace, bool loggedIn, const Result& result);

} // namespace scripts
