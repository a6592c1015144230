#pragma once

#include <span>

#include "token/CryptokiCall.h"
#include "zel/TString.h"

namespace plugin {

/// Who is logged in, by a session's state.
enum class AuthenticatedUser : std::uint32_t {
    Nobody = 1,
    User = 2,
    SecurityOfficer = 3,
    Unknown = 33005,
};

/// The executor's one session, on the current slot. It is kept between scripts; a read-only session is replaced when
/// read/write access is needed. Each operation returns the CK_RV of the failing call, which is traced too. The owner
/// closes the session.
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
    /// Sets the slot of later calls; kNoSlot for an unknown reader. An open session stays open.
    void setSlotID(CK_SLOT_ID slotID) { m_ulSlotID = slotID; }

    /// Opens the session, or keeps the open one. `flags` is 0 (read-only is enough) or CKF_RW_SESSION. `forceNew` first
    /// closes an open session. On CKR_OK with CKF_RW_SESSION the session is read/write. With CKF_RW_SESSION a stale
    /// handle is replaced; without, it is reported (CKR_SESSION_HANDLE_INVALID) and kept: hosts rely on the difference.
    [[nodiscard]] CK_RV openSession(CK_FLAGS flags, bool forceNew);
    /// CKR_OK when no session was open. Afterwards no session is open, also after a failure.
    [[nodiscard]] CK_RV closeSession();
    /// On CKR_OK a read/write session is open and the normal user is logged in on it. `loggedIn` is true only when this
    /// call did that. Without a PIN: CKR_FUNCTION_FAILED.
    [[nodiscard]] CK_RV loginAsUser(std::span<const std::uint8_t> pin, bool& loggedIn);
    /// Sets `lastTry` to true when the token reports that the next wrong PIN locks it. `flag` is CKF_USER_PIN_FINAL_TRY
    /// or CKF_SO_PIN_FINAL_TRY; any other gives false.
    [[nodiscard]] CK_RV isLastTry(CK_FLAGS flag, bool& lastTry) const;

    /// Calls C_OpenSession for the current slot, traced under the given method's name. Afterwards a session is open
    /// only when the call succeeded.
    [[nodiscard]] CK_RV open(const Trace& trace, CK_FLAGS flags);

    /// Begins a call on this session: traces the announcement and the session's handle.
    template <auto Member>
    [[nodiscard]] CryptokiCall<Member> call(const Trace& trace, CryptokiFunction<Member> function,
                                            CallStyle style = {}) const {
        CryptokiCall<Member> made(m_module, trace, function, style);
        made.in(L"hSession", m_hSession);
        return made;
    }
    [[nodiscard]] const Cryptoki& module() const { return m_module; }

    /// Calls C_GetSessionInfo also when no session is open, and traces the input at the level of calls. The result
    /// `tolerated` is not traced as a failure.
    [[nodiscard]] CK_RV askSessionInfo(const Trace& trace, CK_SESSION_INFO& info, CK_RV tolerated = CKR_OK) const;

private:
    /// A stale handle is not traced as a failure.
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
