#include "token/Session.h"

namespace plugin {

void traceSessionInfo(const Trace& trace, const CK_SESSION_INFO& info) {
    trace.write(TraceLevel::Value, L": <-- sessionInfo.slotID=%d", info.slotID);
    trace.write(TraceLevel::Value, L": <-- sessionInfo.state=0x%x", info.state);
    trace.write(TraceLevel::Value, L": <-- sessionInfo.flags=0x%x", info.flags);
    trace.write(TraceLevel::Value, L": <-- sessionInfo.ulDeviceError=0x%x", info.ulDeviceError);
}

CK_RV Session::openSession(CK_FLAGS flags, bool forceNew) {
    return traced(L"openSession", [&](const Trace& trace) {
        CK_RV rv = CKR_OK;
        if (forceNew) {
            // A failure to close the old session does not stop the new one.
            static_cast<void>(close(trace));
        } else if (isOpen()) {
            rv = inspectOpenSession(trace, flags);
        }
        if (isOpen()) {
            return rv;
        }
        rv = open(trace, flags);
        trace.output(L"hSession", m_hSession);
        return rv;
    });
}

CK_RV Session::inspectOpenSession(const Trace& trace, CK_FLAGS flags) {
    CK_SESSION_INFO info{};
    const CK_RV rv = call(trace, cryptoki::getSessionInfo, kTolerant).run(m_hSession, &info);
    if (rv != CKR_OK && rv != CKR_SESSION_HANDLE_INVALID) {
        return rv;
    }
    if (rv != CKR_OK) {
        // After a failure the module's output means nothing. A stale handle counts as read-only, so that it is replaced
        // when read/write access is needed.
        info = {};
    }
    traceSessionInfo(trace, info);
    const bool isReadOnly = info.state < CKS_RW_PUBLIC_SESSION;
    if (flags == CKF_RW_SESSION && isReadOnly) {
        static_cast<void>(close(trace));
    }
    return rv;
}

CK_RV Session::open(const Trace& trace, CK_FLAGS flags) {
    CryptokiCall call(m_module, trace, cryptoki::openSession);
    call.in(L"SlotID", m_ulSlotID).note(L": --> Flags=CKF_SERIAL_SESSION | 0x%x", flags);
    CK_SESSION_HANDLE hSession = kNoSession;
    const CK_RV rv = call.run(m_ulSlotID, flags | CKF_SERIAL_SESSION, nullptr, nullptr, &hSession);
    // After a failure the module's output is not a handle.
    m_hSession = rv == CKR_OK ? hSession : kNoSession;
    return rv;
}

CK_RV Session::askSessionInfo(const Trace& trace, CK_SESSION_INFO& info, CK_RV tolerated) const {
    const CallStyle style{.failure = CallStyle::Failure::Tight, .tolerated = tolerated, .inputs = TraceLevel::Call};
    return call(trace, cryptoki::getSessionInfo, style).run(m_hSession, &info);
}

CK_RV Session::closeSession() {
    return traced(L"closeSession", [this](const Trace& trace) { return isOpen() ? close(trace) : CKR_OK; });
}

CK_RV Session::close(const Trace& trace) {
    const CK_RV rv = call(trace, cryptoki::closeSession).run(m_hSession);
    m_hSession = kNoSession;
    return rv;
}

CK_RV Session::isLastTry(CK_FLAGS flag, bool& lastTry) const {
    return tracedExit(L"isLastTry", [&](const Trace& trace) { return readLastTry(trace, flag, lastTry); });
}

CK_RV Session::readLastTry(const Trace& trace, CK_FLAGS flag, bool& lastTry) const {
    lastTry = false;
    CK_TOKEN_INFO info{};
    const CK_RV rv =
        CryptokiCall(m_module, trace, cryptoki::getTokenInfo,
                     {.announcement = CallStyle::Announcement::Spaced, .failure = CallStyle::Failure::Tight})
            .in(L"SlotID", m_ulSlotID)
            .run(m_ulSlotID, &info);
    if (rv != CKR_OK) {
        return rv;
    }
    trace.write(TraceLevel::Call, L": <-- tokenInfo.flags=0x%x", info.flags);
    if (flag == CKF_USER_PIN_FINAL_TRY || flag == CKF_SO_PIN_FINAL_TRY) {
        lastTry = (info.flags & flag) != 0;
    }
    return CKR_OK;
}

} // namespace plugin
