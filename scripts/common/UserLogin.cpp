#include "scripts/common/UserLogin.h"

#include <chrono>

#include "platform/Sleep.h"
#include "scripts/common/ParameterErrors.h"

namespace plugin {

CK_RV readAndLogin(ScriptContext& script, const Trace& trace, bool& loggedIn) {
    if (script.params != nullptr) {
        traceOperationParameters(trace, *script.params);
        script.access.readForOperation(script.params);
    }
    const CK_RV rv = script.loginAsUser(loggedIn);
    if (rv != CKR_OK) {
        trace.failed(L"login", rv);
    }
    return rv;
}

Result requireAndLogin(ScriptContext& script, const Trace& trace, bool& loggedIn) {
    return script.params == nullptr ? noParameters(trace) : Result(readAndLogin(script, trace, loggedIn));
}

void logoutOnce(const Session& session, const Trace& trace) {
    static_cast<void>(session.call(trace, cryptoki::logout).run(session.handle()));
}

namespace {

/// The wait before the next try: zero after the first refusals in a row, then longer and longer, so that a token that
/// refuses for hours keeps neither the processor nor the trace busy.
std::chrono::milliseconds waitAfter(std::uint32_t refusals) {
    constexpr std::uint32_t kTriesOfOneWait = 10;
    constexpr std::uint32_t kLongest = 1000;
    if (refusals <= kTriesOfOneWait) {
        return std::chrono::milliseconds(0);
    }
    const std::uint32_t doublings = (refusals - 1) / kTriesOfOneWait - 1;
    return std::chrono::milliseconds(doublings < 10 ? 1U << doublings : kLongest);
}

} // namespace

LogoutResult logoutUntilDone(const Session& session, const Trace& trace, LogoutTrace style) {
    LogoutResult result;
    for (std::uint32_t refusals = 0;;) {
        const bool isAnnounced = refusals == 0 || style == LogoutTrace::AnnouncedEachTime;
        result.last =
            session.call(trace, cryptoki::logout, isAnnounced ? CallStyle{} : kUnannounced).run(session.handle());
        if (result.last == CKR_OK) {
            return result;
        }
        result.refusal = result.last;
        if (!session.module().has(cryptoki::logout)) {
            // The module has no C_Logout, so no try can succeed.
            return result;
        }
        if (const auto wait = waitAfter(++refusals); wait.count() > 0) {
            platform::sleepFor(wait);
        }
    }
}

Result afterLogout(const Session& session, const Trace& trace, bool loggedIn, const Result& result) {
    if (!loggedIn) {
        return result;
    }
    const CK_RV refusal = logoutUntilDone(session, trace).refusal;
    return refusal == CKR_OK || result.isClientCode() ? result : Result(refusal);
}

} // namespace plugin
