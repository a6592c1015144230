#pragma once

#include "client/ScriptContext.h"

// How scripts log the user in, and log out again after a login of their own.

namespace plugin {

/// Traces the operation's parameters, reads access values from them and logs the user in; a failure is traced.
/// `loggedIn` as in Session::loginAsUser. Throws as AccessValues::readForOperation.
[[nodiscard]] CK_RV readAndLogin(ScriptContext& script, const Trace& trace, bool& loggedIn);
/// The same for scripts that cannot do without parameters.
[[nodiscard]] Result requireAndLogin(ScriptContext& script, const Trace& trace, bool& loggedIn);

/// One traced C_Logout, for a script that breaks off after a login of its own.
void logoutOnce(const Session& session, const Trace& trace);

/// Does the script's work, and ends the script's own login when an exception ends the work: a card must not stay logged
/// in. The token is asked once only, because one that is short of memory too might never agree. (No destructor does
/// this: on Windows each library counts the exceptions under way by itself.)
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

/// What became of the logout.
struct LogoutResult {
    CK_RV last = CKR_OK;    ///< the last try: CKR_OK, unless the module has no such function
    CK_RV refusal = CKR_OK; ///< the last refusal, CKR_OK when there was none
};

/// Logs out, again and again until the token agrees: a card must not stay logged in. There is no limit, unless the
/// module has no such function. From the eleventh refusal in a row on it waits before the next try: 1 ms, doubling
/// every ten tries, one second at most.
LogoutResult logoutUntilDone(const Session& session, const Trace& trace,
                             LogoutTrace style = LogoutTrace::AnnouncedEachTime);

/// The result of a script whose logout counts: a refusal along the way takes the place of everything but a client code.
[[nodiscard]] Result afterLogout(const Session& session, const Trace& trace, bool loggedIn, const Result& result);

} // namespace plugin
