#pragma once

#include <span>

#include "cryptoki/cryptoki.h"
#include "text/SecretBuffer.h"
#include "zel/Parameter.h"
#include "zel/TString.h"
#include "zel/Vector.h"

namespace plugin {

/// The authentication type of the parameter "AUTH_TYPE".
inline constexpr CK_ULONG kAuthTypeNotGiven = static_cast<CK_ULONG>(-1);
inline constexpr CK_ULONG kAuthTypeStatic = 1;

/// A PIN and the role that it was given for. A PIN is never used for another role.
struct StoredPin {
    SecretBuffer bytes;  ///< null without a PIN, or when its text is not hexadecimal
    bool isEmpty = true; ///< no text, or an empty one
    CK_USER_TYPE role = CKU_USER;
};

/// The host's access parameters: reader name, PINs, role, algorithm, key, data. A value stays until another one
/// overwrites it. Values are kept in internal form (Conversions.h).
///
/// SO PINs supplied by an operation serve that operation alone: they are returned in place of the stored PINs until
/// endOperation clears them, and never overwrite the stored PINs.
class AccessValues {
public:
    /// Read access parameters; null counts as an empty vector. Of repeated parameters the last one counts. PINs are
    /// stored for the role that is known after all vectors of the call are read. Throws ClientOperationException ("Bad
    /// parameter PINID: …") and keeps what was read before. On std::bad_alloc the PINs of the call are dropped, because
    /// their role is not known yet.
    void readForInitialize(const Zel::Vector<Zel::Parameter>* access, const Zel::Vector<Zel::Parameter>* runtime);
    void readForOperation(const Zel::Vector<Zel::Parameter>* params);
    /// Clears the SO PINs that the operation supplied.
    void endOperation() noexcept;

    /// The PIN for a script without a PIN of its own: the SO PIN that the operation supplied, else the stored PIN.
    [[nodiscard]] const StoredPin& accessPin() const { return m_pin.current(); }
    [[nodiscard]] const StoredPin& accessOldPin() const { return m_oldPin.current(); }
    [[nodiscard]] const StoredPin& accessNewPin() const { return m_newPin.current(); }
    /// The stored user PIN; empty when no PIN is stored, or only the SO PIN.
    [[nodiscard]] std::span<const std::uint8_t> userPin() const;
    /// Stores a user PIN that the token has accepted, and makes the user the current role.
    void storeUserPin(SecretBuffer pin) noexcept;

    [[nodiscard]] CK_USER_TYPE userType() const { return m_userType; }
    [[nodiscard]] CK_ULONG authType() const { return m_authType; }
    [[nodiscard]] const Zel::TString& currentReader() const { return m_tsCurrentReader; }
    [[nodiscard]] const Zel::TString& algoId() const { return m_tsAlgoId; }
    [[nodiscard]] const Zel::TString& keyId() const { return m_tsKeyId; }
    [[nodiscard]] const Zel::TString& dataToSign() const { return m_tsDataToSign; }

private:
    /// One of the three PINs: the stored value, and the value of the current operation.
    struct Pin {
        StoredPin stored;
        StoredPin officers; ///< supplied by the current operation
        bool hasOfficers = false;
        StoredPin given; ///< just read; its role is not known yet
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
