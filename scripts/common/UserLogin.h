#pragma once

#include "client/ScriptContext.h"

// How scripts log the user in, and log out again after a login of their own.

namespace plugin {

/// Traces the operation's parameters, reads access values from them and logs the user in; a failure is traced.
/// `loggedIn` as in Session::loginAsUser. Throws as AccessValues::readForOperation.
[[nodiscard]] CK_RV readAndLogin(ScriptContext& script, const Trace& trace, bool& loggedIn);
/// The same for scripts that need parameters.
[[nodiscard]] Result requireAndLogin(ScriptContext& script, const Trace& trace, bool& loggedIn);

/// Calls C_Logout once, for a script that fails after a login of its own.
void logoutOnce(const Session& session, const Trace& trace);

/// Runs `work` and returns its result. When an exception leaves it, the script's own login is ended, because a card
/// must not stay logged in. C_Logout is called only once: a token that is short of memory too might refuse for ever. (A
/// destructor would do this after success, too, where each script logs out in its own way.)
template <class Work>
auto withOwnLogin(const Session& session, const Trace& trace, bool loggedIn, Work work) {
    try {
        return work();
    } catch (...) {
        if (loggedIn) {
            logoutOnce(session, trace);
        }
        throw;
    }
}

enum class LogoutTrace { AnnouncedOnce, AnnouncedEachTime };

/// The outcome of a logout.
struct LogoutResult {
    CK_RV last = CKR_OK;    ///< of the last try: CKR_OK, unless the module has no C_Logout
    CK_RV refusal = CKR_OK; ///< the last refusal, CKR_OK when there was none
};

/// Calls C_Logout until the token accepts it, without limit, because a card must not stay logged in. Stops at once when
/// the module has no C_Logout. From the eleventh refusal in a row on it waits before the next try: 1 ms, doubled every
/// ten tries, one second at most.
LogoutResult logoutUntilDone(const Session& session, const Trace& trace,
                             LogoutTrace style = LogoutTrace::AnnouncedEachTime);

/// Logs out when `loggedIn`, and returns the result of the script: `result`, or the token's last refusal to log out,
/// which replaces everything but a client code.
[[nodiscard]] Result afterLogout(const Session& session, const Trace& trace, bool loggedIn, const Result& result);

} // namespace plugin
