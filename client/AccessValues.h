#pragma once

#include <span>

#include "cryptoki/cryptoki.h"
#include "text/SecretBuffer.h"
#include "zel/Parameter.h"
#include "zel/TString.h"
#include "zel/Vector.h"

namespace plugin {

/// "AUTH_TYPE" as it was given.
inline constexpr CK_ULONG kAuthTypeNotGiven = static_cast<CK_ULONG>(-1);
inline constexpr CK_ULONG kAuthTypeStatic = 1;

/// A PIN and the role that it was given for; no PIN is ever used for another one.
struct StoredPin {
    SecretBuffer bytes;  ///< null when nothing was given, or a text that is not hexadecimal
    bool isEmpty = true; ///< no text was given, or an empty one
    CK_USER_TYPE role = CKU_USER;
};

/// What the host gave to work with: reader name, PINs, role, algorithm, key, data. Values stay until they are
/// overwritten; they are held in internal form (Conversions.h).
///
/// PINs that an operation brings for the security officer serve that operation alone: they stand in front of the stored
/// ones until endOperation, and never take their place.
class AccessValues {
public:
    /// Reads access parameters; null reads nothing. Of repeated ones the last counts. PINs are kept for the role that
    /// stands when all vectors of the call have been read.
    /// Throws ClientOperationException ("Bad parameter PINID: …"); what was read before that is kept. When memory fails
    /// (std::bad_alloc) the PINs of the call are not: nobody knows yet whose they are.
    void readForInitialize(const Zel::Vector<Zel::Parameter>* access, const Zel::Vector<Zel::Parameter>* runtime);
    void readForOperation(const Zel::Vector<Zel::Parameter>* params);
    /// Forgets the officer's PINs that the operation brought.
    void endOperation() noexcept;

    /// The PIN to use where a script was given none: the operation's own for the officer, else the stored one.
    [[nodiscard]] const StoredPin& accessPin() const { return m_pin.current(); }
    [[nodiscard]] const StoredPin& accessOldPin() const { return m_oldPin.current(); }
    [[nodiscard]] const StoredPin& accessNewPin() const { return m_newPin.current(); }
    /// The stored user PIN; empty when no PIN is stored, or only the officer's.
    [[nodiscard]] std::span<const std::uint8_t> userPin() const;
    /// Keeps a user PIN that the token has accepted; the role is the user's from now on.
    void storeUserPin(SecretBuffer pin) noexcept;

    [[nodiscard]] CK_USER_TYPE userType() const { return m_userType; }
    [[nodiscard]] CK_ULONG authType() const { return m_authType; }
    [[nodiscard]] const Zel::TString& currentReader() const { return m_tsCurrentReader; }
    [[nodiscard]] const Zel::TString& algoId() const { return m_tsAlgoId; }
    [[nodiscard]] const Zel::TString& keyId() const { return m_tsKeyId; }
    [[nodiscard]] const Zel::TString& dataToSign() const { return m_tsDataToSign; }

private:
    /// One of the PINs: stored, and for the operation under way.
    struct Pin {
        StoredPin stored;
        StoredPin officers; ///< brought by the operation under way
        bool hasOfficers = false;
        StoredPin given; ///< read just now, its role not known yet
        bool isGiven = false;

        [[nodiscard]] const StoredPin& current() const { return hasOfficers ? officers : stored; }
        void commit(CK_USER_TYPE role, bool forOperation) noexcept;
    };

    void readParameters(const Zel::Vector<Zel::Parameter>* params);
    void readParameter(const Zel::Parameter& parameter);
    void readUserType(const Zel::TString& value);
    void commitPins(bool forOperation) noexcept;
    void forgetGivenPins() noexcept;

    Zel::TString m_tsCurrentReader;
    Pin m_pin;
    Pin m_oldPin;
    Pin m_newPin;
    CK_USER_TYPE m_userType = CKU_USER;
    CK_ULONG m_authType = kAuthTypeNotGiven;
    Zel::TString m_tsDataToSign;
    Zel::TString m_tsKeyId;
    Zel::TString m_tsAlgoId;
};

} // namespace plugin
