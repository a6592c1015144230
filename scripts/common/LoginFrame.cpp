#include "scripts/common/LoginFrame.h"

#include "scripts/common/Faults.h"

namespace scripts {

CK_RV readAndLogin(Script& script, const Trace& trace, bool& loggedIn) {
    if (script.params != nullptr) {
        traceOperationParameters(trace, *script.params);
        script.access.readForScript(script.params);
    }
    const CK_RV rv = script.loginAsUser(loggedIn);
    if (rv != CKR_OK) {
        trace.failed(L"login", rv);
    }
    return rv;
}

Result requireAndLogin(Script& script, const Trace& trace, bool& loggedIn) {
    return script.params == nullptr ? noParameters(trace) : Result(readAndLogin(script, trace, loggedIn));
}

void logoutOnce(const Session& session, const Trace& trace) {
    static_cast<void>(session.call(trace, cryptoki::logout).run(session.handle()));
}

CK_RV logoutUntilDone(const Session& session, const Trace& trace, LogoutTrace style) {
    CK_RV refusal = CKR_OK;
    bool isAnnounced = false;
    for (;;) {
        if (!isAnnounced || style == LogoutTrace::AnnouncedEachTime) {
            trace.announce(cryptoki::logout.name);
            trace.input(L"hSession", session.handle());
            isAnnounced = true;
        }
        const CK_RV rv = session.module().call(cryptoki::logout, session.handle());
        if (rv == CKR_OK) {
            return refusal;
        }
        trace.failed(cryptoki::logout.name, rv);
        refusal = rv;
        if (!session.module().has(cryptoki::logout)) {
            // No token refused anything: a module without the function would be asked for ever.
            return refusal;
        }
    }
}

Result afterLogout(const Session& session, const Trace& trace, bool loggedIn, const Result& result) {
    if (!loggedIn) {
        return result;
    }
    const CK_RV refusal = logoutUntilDone(session, trace);
    return refusal == CKR_OK || result.isClientCode() ? result : Result(refusal);
}

} // namespace scripts
