#include "tests/conformance/Trace.h"

#include "tests/conformance/Harness.h"
#include "tests/conformance/Utf8.h"

#include <cstdarg>
#include <cstdio>
#include <filesystem>

namespace Conformance {

namespace {

constexpr unsigned kFailure = 1;
constexpr unsigned kCall = 2;
constexpr unsigned kValue = 4;
constexpr unsigned kEntry = 8;
constexpr unsigned kExit = 16;

std::string named(const std::string& method) {
    return "PKCS11Client::" + method;
}

Trace closing(const std::string& method, CK_SESSION_HANDLE session) {
    return sessionCall(method, "C_CloseSession", session);
}

Trace opening(CK_FLAGS flags, CK_SESSION_HANDLE session, CK_SLOT_ID slot, CK_RV rv) {
    const std::string method = "openSession";
    Trace trace = call(method, "C_OpenSession") + in(method, "SlotID", slot);
    trace += {{kValue, named(method) + textf(": --> Flags=CKF_SERIAL_SESSION | 0x%x", low(flags))}};
    if (rv != CKR_OK) {
        trace += failed(method, "C_OpenSession", rv);
    }
    return trace + out(method, "hSession", session);
}

Trace userLogin(CK_SESSION_HANDLE session, CK_RV rv) {
    const std::string method = "loginAsUser";
    Trace trace = {{kCall, named(method) + " : C_Login"}};
    trace += in(method, "hSession", session);
    trace += {{kValue, named(method) + ": --> CKU_USER"}};
    return rv == CKR_OK ? trace : trace + failed(method, "C_Login", rv);
}

} // namespace

Trace& Trace::operator+=(const Trace& other) {
    lines.insert(lines.end(), other.lines.begin(), other.lines.end());
    return *this;
}

std::string textf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    text.pop_back();
    return text;
}

Trace entry(const std::string& method) {
    return {{kEntry, named(method)}};
}

Trace leave(const std::string& method) {
    return {{kExit, named(method)}};
}

Trace call(const std::string& method, const std::string& function) {
    return {{kCall, named(method) + ": " + function}};
}

Trace failed(const std::string& method, const std::string& function, CK_RV rv) {
    return {{kFailure, named(method) + " : " + function + textf(" 0x%02x : failed", low(rv))}};
}

Trace failedTight(const std::string& method, const std::string& function, CK_RV rv) {
    return {{kFailure, named(method) + ": " + function + textf(" 0x%02x : failed", low(rv))}};
}

Trace in(const std::string& method, const std::string& name, CK_ULONG value) {
    return {{kValue, named(method) + ": --> " + name + textf("=0x%x", low(value))}};
}

Trace out(const std::string& method, const std::string& name, CK_ULONG value) {
    return {{kValue, named(method) + ": <-- " + name + textf("=0x%x", low(value))}};
}

Trace sessionCall(const std::string& method, const std::string& function, CK_SESSION_HANDLE session) {
    return call(method, function) + in(method, "hSession", session);
}

Trace readParametersTrace(const std::vector<std::string>& ids) {
    Trace trace;
    int index = 0;
    for (const std::string& id : ids) {
        trace += {{kValue, named("readParameters") + textf(": accessParameters %d, ", index++) + id}};
    }
    return trace;
}

Trace operationParameters(const std::string& method, const std::vector<std::string>& ids) {
    Trace trace;
    int index = 0;
    for (const std::string& id : ids) {
        trace += {{kValue, named(method) + textf(": --> Operation parameter %d, ", index++) + id}};
    }
    return trace;
}

Trace executeHead(const std::string& script, const std::optional<std::vector<std::string>>& ids, const std::string& id,
                  const std::string& scriptType) {
    const std::string method = "execute";
    const std::string folder = utf8FromWide(std::filesystem::current_path().wstring());
    Trace trace = entry(method);
    trace += {{kValue, named(method) + ": --> Current Directory = " + folder},
              {kValue, named(method) + ": --> Input Param operation.id = " + id},
              {kValue, named(method) + ": --> Input Param operation.scriptType = " + scriptType},
              {kValue, named(method) + ": --> Input Param operation.script = " + script}};
    if (ids) {
        trace += operationParameters(method, *ids) + readParametersTrace(*ids);
    }
    return trace;
}

Trace executeTail(const std::vector<Output>& outputs) {
    Trace trace;
    int index = 0;
    for (const Output& output : outputs) {
        trace += {{kValue,
                   textf("PKCS11Client::executeOperation parameter %d, ", index++) + output.id + " = " + output.value}};
    }
    return trace + leave("execute");
}

Trace executeTail(const Result& result) {
    return executeTail(result.outputs);
}

Trace executeTrace(const std::string& script, const std::optional<std::vector<std::string>>& ids, const Trace& body,
                   const Result& result) {
    return executeHead(script, ids) + entry(script) + body + leave(script) + executeTail(result);
}

Trace sessionInfoTrace(const std::string& method, CK_SLOT_ID slot, CK_STATE state, CK_FLAGS flags,
                       CK_ULONG deviceError) {
    Trace trace = {{kValue, named(method) + textf(": <-- sessionInfo.slotID=%d", static_cast<int>(slot))}};
    trace += out(method, "sessionInfo.state", state);
    trace += out(method, "sessionInfo.flags", flags);
    return trace + out(method, "sessionInfo.ulDeviceError", deviceError);
}

Trace openSessionTrace(CK_FLAGS flags, CK_SESSION_HANDLE session, CK_SLOT_ID slot, CK_RV rv) {
    return entry("openSession") + opening(flags, session, slot, rv) + leave("openSession");
}

Trace keepSessionTrace(CK_SESSION_HANDLE session, CK_STATE state, CK_FLAGS flags, CK_SLOT_ID slot) {
    const std::string method = "openSession";
    return entry(method) + sessionCall(method, "C_GetSessionInfo", session) +
           sessionInfoTrace(method, slot, state, flags) + leave(method);
}

Trace replaceSessionTrace(CK_SESSION_HANDLE old, CK_STATE oldState, CK_SESSION_HANDLE session, CK_SLOT_ID slot) {
    const std::string method = "openSession";
    return entry(method) + sessionCall(method, "C_GetSessionInfo", old) +
           sessionInfoTrace(method, slot, oldState, CKF_SERIAL_SESSION) + closing(method, old) +
           opening(CKF_RW_SESSION, session, slot, CKR_OK) + leave(method);
}

Trace replaceStaleSessionTrace(CK_SESSION_HANDLE old, CK_SESSION_HANDLE session, CK_SLOT_ID slot) {
    const std::string method = "openSession";
    return entry(method) + sessionCall(method, "C_GetSessionInfo", old) + sessionInfoTrace(method, 0, 0, 0) +
           closing(method, old) + failed(method, "C_CloseSession", CKR_SESSION_HANDLE_INVALID) +
           opening(CKF_RW_SESSION, session, slot, CKR_OK) + leave(method);
}

Trace closeSessionTrace(std::optional<CK_SESSION_HANDLE> session, CK_RV rv) {
    const std::string method = "closeSession";
    Trace trace = entry(method);
    if (session) {
        trace += closing(method, *session);
    }
    if (rv != CKR_OK) {
        trace += failed(method, "C_CloseSession", rv);
    }
    return trace + leave(method);
}

Trace authenticatedUserTrace(CK_SESSION_HANDLE session, CK_STATE state, CK_FLAGS flags, CK_SLOT_ID slot) {
    const std::string method = "getAuthicatedUser";
    return sessionCall(method, "C_GetSessionInfo", session) + sessionInfoTrace(method, slot, state, flags) +
           leave(method);
}

Trace loginAsUserTrace(CK_SESSION_HANDLE session, CK_RV rv, CK_SLOT_ID slot) {
    return entry("loginAsUser") + openSessionTrace(CKF_RW_SESSION, session, slot) +
           authenticatedUserTrace(session, CKS_RW_PUBLIC_SESSION, CKF_RW_SESSION | CKF_SERIAL_SESSION, slot) +
           userLogin(session, rv) + leave("loginAsUser");
}

Trace loginOnOpenSessionTrace(CK_SESSION_HANDLE session, CK_RV rv, CK_SLOT_ID slot) {
    constexpr CK_FLAGS kFlags = CKF_RW_SESSION | CKF_SERIAL_SESSION;
    return entry("loginAsUser") + keepSessionTrace(session, CKS_RW_PUBLIC_SESSION, kFlags, slot) +
           authenticatedUserTrace(session, CKS_RW_PUBLIC_SESSION, kFlags, slot) + userLogin(session, rv) +
           leave("loginAsUser");
}

Trace alreadyLoggedInTrace(CK_SESSION_HANDLE session, CK_SLOT_ID slot) {
    constexpr CK_FLAGS kFlags = CKF_RW_SESSION | CKF_SERIAL_SESSION;
    return entry("loginAsUser") + keepSessionTrace(session, CKS_RW_USER_FUNCTIONS, kFlags, slot) +
           authenticatedUserTrace(session, CKS_RW_USER_FUNCTIONS, kFlags, slot) + leave("loginAsUser");
}

Trace logoutTrace(const std::string& method, CK_SESSION_HANDLE session, CK_RV rv) {
    Trace trace = sessionCall(method, "C_Logout", session);
    return rv == CKR_OK ? trace : trace + failed(method, "C_Logout", rv);
}

} // namespace Conformance
