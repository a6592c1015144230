#pragma once

#include "cryptoki/cryptoki.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

// The trace as tests see and state it: lines of a level (1 failure, 2 call announced, 4 value, 8 entry, 16 exit), a
// UTF-8 text and, for binary dumps, the bytes as upper-case hexadecimal text.

namespace Conformance {

struct TraceLine {
    unsigned level;
    std::string text;
    std::optional<std::string> dump = std::nullopt; ///< nullopt: a line without dump; "" a dump of no bytes
    bool operator==(const TraceLine&) const = default;
};

struct Trace {
    std::vector<TraceLine> lines;

    Trace() = default;
    Trace(std::initializer_list<TraceLine> list) : lines(list) {}

    Trace& operator+=(const Trace& other);
    friend Trace operator+(Trace a, const Trace& b) { return a += b; }
};

/// printf into a std::string, for expected lines with numbers. Handles are printed as the plug-in's %x prints them:
/// the low 32 bits; cast with `low`.
[[nodiscard]] std::string textf(const char* format, ...) __attribute__((format(printf, 1, 2)));
[[nodiscard]] constexpr unsigned low(CK_ULONG value) {
    return static_cast<unsigned>(value);
}

struct Output;
struct Result;

// Recurring blocks of lines, spelt out exactly. `method` is a name such as "openSession" or "signData"; the prefix
// "PKCS11Client::" is added here.

/// {8, "PKCS11Client::method"} and {16, …}.
[[nodiscard]] Trace entry(const std::string& method);
[[nodiscard]] Trace leave(const std::string& method);
/// {2, "PKCS11Client::method: C_X"}.
[[nodiscard]] Trace call(const std::string& method, const std::string& function);
/// {1, "PKCS11Client::method : C_X 0xNN : failed"} (blank before the first colon).
[[nodiscard]] Trace failed(const std::string& method, const std::string& function, CK_RV rv);
/// {1, "PKCS11Client::method: C_X 0xNN : failed"} (no blank before it: C_GetSessionInfo and a few others).
[[nodiscard]] Trace failedTight(const std::string& method, const std::string& function, CK_RV rv);
/// {4, "PKCS11Client::method: --> name=0xN"} and "<-- name=0xN".
[[nodiscard]] Trace in(const std::string& method, const std::string& name, CK_ULONG value);
[[nodiscard]] Trace out(const std::string& method, const std::string& name, CK_ULONG value);
/// `call` and `in(method, "hSession", session)`.
[[nodiscard]] Trace sessionCall(const std::string& method, const std::string& function, CK_SESSION_HANDLE session);

/// What `execute` writes before a script of the right type runs: entry, current directory, the operation's three
/// texts, its parameters, and the lines of readParameters. `ids` nullopt: the operation has no vector.
[[nodiscard]] Trace executeHead(const std::string& script, const std::optional<std::vector<std::string>>& ids,
                                const std::string& id = "1", const std::string& scriptType = "client.p11.Larkspur");
/// The lines of readParameters alone, and those of a script's own listing
/// ("PKCS11Client::method: --> Operation parameter 0, ID").
[[nodiscard]] Trace readParametersTrace(const std::vector<std::string>& ids);
[[nodiscard]] Trace operationParameters(const std::string& method, const std::vector<std::string>& ids);
/// What it writes afterwards: every output, then the exit.
[[nodiscard]] Trace executeTail(const std::vector<Output>& outputs);
[[nodiscard]] Trace executeTail(const Result& result);
/// The whole of it, with what the script writes between its own entry and exit.
[[nodiscard]] Trace executeTrace(const std::string& script, const std::optional<std::vector<std::string>>& ids,
                                 const Trace& body, const Result& result);

/// The four "<-- sessionInfo." lines, level 4.
[[nodiscard]] Trace sessionInfoTrace(const std::string& method, CK_SLOT_ID slot, CK_STATE state, CK_FLAGS flags,
                                     CK_ULONG deviceError = 0);

/// openSession from entry to exit where no session was open: C_OpenSession only. `flags` as the caller of openSession
/// gives them (0 or 2). `rv` other than 0: with the failure line, `session` then being what "<-- hSession" shows.
[[nodiscard]] Trace openSessionTrace(CK_FLAGS flags, CK_SESSION_HANDLE session, CK_SLOT_ID slot = 0x11,
                                     CK_RV rv = CKR_OK);
/// openSession where the open session is kept: C_GetSessionInfo only.
[[nodiscard]] Trace keepSessionTrace(CK_SESSION_HANDLE session, CK_STATE state, CK_FLAGS flags, CK_SLOT_ID slot = 0x11);
/// openSession where a read-only session is replaced by a read/write one.
[[nodiscard]] Trace replaceSessionTrace(CK_SESSION_HANDLE old, CK_STATE oldState, CK_SESSION_HANDLE session,
                                        CK_SLOT_ID slot = 0x11);
/// openSession where the module no longer knows the open session: nothing is told of it, closing it fails, and a
/// read/write one takes its place.
[[nodiscard]] Trace replaceStaleSessionTrace(CK_SESSION_HANDLE old, CK_SESSION_HANDLE session, CK_SLOT_ID slot = 0x11);
/// closeSession from entry to exit; without an open session (nullopt) only these two.
[[nodiscard]] Trace closeSessionTrace(std::optional<CK_SESSION_HANDLE> session, CK_RV rv = CKR_OK);
/// getAuthicatedUser: call, handle, session information, exit.
[[nodiscard]] Trace authenticatedUserTrace(CK_SESSION_HANDLE session, CK_STATE state, CK_FLAGS flags = 6,
                                           CK_SLOT_ID slot = 0x11);
/// loginAsUser from entry to exit where no session was open and the user is logged in by it (`rv` of C_Login).
[[nodiscard]] Trace loginAsUserTrace(CK_SESSION_HANDLE session, CK_RV rv = CKR_OK, CK_SLOT_ID slot = 0x11);
/// loginAsUser on an open read/write session that is public: kept, then logged in.
[[nodiscard]] Trace loginOnOpenSessionTrace(CK_SESSION_HANDLE session, CK_RV rv = CKR_OK, CK_SLOT_ID slot = 0x11);
/// loginAsUser on an open read/write session whose user is logged in already.
[[nodiscard]] Trace alreadyLoggedInTrace(CK_SESSION_HANDLE session, CK_SLOT_ID slot = 0x11);
/// "C_Logout" announced, the handle, and with an `rv` other than 0 the failure line.
[[nodiscard]] Trace logoutTrace(const std::string& method, CK_SESSION_HANDLE session, CK_RV rv = CKR_OK);

} // namespace Conformance
