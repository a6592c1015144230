#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/x509/Bytes.h"
#include "host/x509/KeyUsage.h"
#include "host/x509/PublicKey.h"

namespace host::x509 {

/// The fields of an X.509 certificate. Its signature is not checked.
struct Certificate {
    Bytes der;
    Bytes subject; ///< DER of the name, as CKA_SUBJECT has it
    Bytes issuer;  ///< as CKA_ISSUER has it
    Bytes serial;  ///< DER of the INTEGER, as CKA_SERIAL_NUMBER has it

    std::string subjectText; ///< as nameText writes it
    std::string issuerText;
    std::string serialText; ///< upper-case hexadecimal of the number, two digits a byte
    std::string notBefore;  ///< UTC, "2026-01-31T12:00:00Z"
    std::string notAfter;

    std::optional<PublicKey> publicKey; ///< without value for a key that is not RSA
    bool isAuthority = false;           ///< basicConstraints say CA
    KeyUsage usage;                     ///< no bit set when the certificate does not limit it

    /// The first certificate of a PEM file, or the one that a DER file is. UsageError with `name` in front when the
    /// file holds no certificate or a malformed one, and when something follows it in DER.
    [[nodiscard]] static Certificate read(ByteView file, const std::string& name);
    /// All certificates of a PEM file; the one of a DER file.
    [[nodiscard]] static std::vector<Certificate> readAll(ByteView file, const std::string& name);

    [[nodiscard]] std::string pem() const;
};

} // namespace host::x509
