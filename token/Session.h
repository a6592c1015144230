#pragma once

#include <span>

#include "token/CryptokiCall.h"
#include "zel/TString.h"

namespace plugin {

/// Who is logged in on a session, by its state.
enum class AuthenticatedUser : std::uint32_t {
    Nobody = 1,
    User = 2,
    SecurityOfficer = 3,
    Unknown = 33005,
};

/// The executor's one session on its current slot: opened with the access that is needed, kept between scripts,
/// replaced when read/write access is wanted of a read-only one. Every failure is the CK_RV of the failing call, which
/// is also traced. The owner closes it.
class Session {
public:
    explicit Session(const Cryptoki& module) : m_module(module) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    Session(Session&&) = delete;
    Session& operator=(Session&&) = delete;
    ~Session() = default;

    [[nodiscard]] CK_SLOT_ID slotID() const { return m_ulSlotID; }
    [[nodiscard]] CK_SESSION_HANDLE handle() const { return m_hSession; }
    [[nodiscard]] bool isOpen() const { return m_hSession != kNoSession; }
    /// What later calls work on; kNoSlot when a reader was not found. An open session is kept as it is.
    void setSlotID(CK_SLOT_ID slotID) { m_ulSlotID = slotID; }

    /// Opens the session, or keeps the open one. `flags` is 0 (read-only will do) or CKF_RW_SESSION. `forceNew` closes
    /// what is there first, whatever it is. On CKR_OK the session is read/write whenever that was asked for.
    /// A stale handle is replaced when read/write is asked for, and reported (CKR_SESSION_HANDLE_INVALID) and kept when
    /// not: hosts rely on the difference.
    [[nodiscard]] CK_RV openSession(CK_FLAGS flags, bool forceNew);
    /// CKR_OK when none was open. Afterwards none is, whatever the result.
    [[nodiscard]] CK_RV closeSession();
    /// On CKR_OK a read/write session is open and the normal user is logged in on it. `loggedIn` is true only when this
    /// call did that. Without a PIN: CKR_FUNCTION_FAILED.
    [[nodiscard]] CK_RV loginAsUser(std::span<const std::uint8_t> pin, bool& loggedIn);
    /// Whether the token says that the next wrong PIN locks it. `flag` is CKF_USER_PIN_FINAL_TRY or
    /// CKF_SO_PIN_FINAL_TRY; any other gives false.
    [[nodiscard]] CK_RV isLastTry(CK_FLAGS flag, bool& lastTry) const;

    /// Calls C_OpenSession for the current slot, traced under the given method's name. Afterwards a session is open
    /// only when the call succeeded.
    [[nodiscard]] CK_RV open(const Trace& trace, CK_FLAGS flags);

    /// A call on this session: the announcement and the session's handle are traced already.
    template <auto Member>
    [[nodiscard]] CryptokiCall<Member> call(const Trace& trace, CryptokiFunction<Member> function,
                                            CallStyle style = {}) const {
        CryptokiCall<Member> made(m_module, trace, function, style);
        made.in(L"hSession", m_hSession);
        return made;
    }
    [[nodiscard]] const Cryptoki& module() const { return m_module; }

    /// C_GetSessionInfo for scripts that ask before they know whether a session is open: on whatever handle there is,
    /// with the input traced at the level of calls. The result `tolerated` is not traced as a failure.
    [[nodiscard]] CK_RV askSessionInfo(const Trace& trace, CK_SESSION_INFO& info, CK_RV tolerated = CKR_OK) const;

private:
    /// A stale handle is an answer, not a failure.
    static constexpr CallStyle kTolerant{.failure = CallStyle::Failure::Tight, .tolerated = CKR_SESSION_HANDLE_INVALID};

    [[nodiscard]] CK_RV close(const Trace& trace);
    [[nodiscard]] CK_RV inspectOpenSession(const Trace& trace, CK_FLAGS flags);
    [[nodiscard]] CK_RV login(const Trace& trace, std::span<const std::uint8_t> pin, bool& loggedIn);
    [[nodiscard]] CK_RV getAuthicatedUser(AuthenticatedUser& user) const;
    [[nodiscard]] CK_RV readUser(const Trace& trace, AuthenticatedUser& user) const;
    [[nodiscard]] CK_RV readLastTry(const Trace& trace, CK_FLAGS flag, bool& lastTry) const;
    [[nodiscard]] CK_RV loginWithPin(const Trace& trace, std::span<const std::uint8_t> pin);

    const Cryptoki& m_module;
    CK_SLOT_ID m_ulSlotID = kNoSlot;
    CK_SESSION_HANDLE m_hSession = kNoSession;
};

/// Traces the answer of C_GetSessionInfo in four lines.
void traceSessionInfo(const Trace& trace, const CK_SESSION_INFO& info);

} // namespace plugin
