#pragma once

#include <string>
#include <vector>

#include "host/card/Token.h"
#include "host/x509/Certificate.h"

namespace host {

/// A certificate that is to come to the token.
struct NewCertificate {
    x509::Certificate certificate;
    std::string id;           ///< bytes
    std::string label;        ///< may be empty
    bool isAuthority = false; ///< category CA: no key belongs to it
};

/// CardFailure (9) unless the certificate belongs to the key of its identifier, and when a certificate with the
/// identifier is there; (4) when there is no such key. The user is logged in, or it is a dry run, which sees less.
void checkPairing(const Token& token, const NewCertificate& added);

/// Writes it, with subject, issuer and serial number taken from it, and looks whether the token shows it. CardFailure
/// otherwise. A token that keeps no category gets it without one.
void writeCertificate(Token& token, const NewCertificate& added);

/// The certificates that can be seen: all, or those of one identifier. CardFailure (4) when the token shows no such
/// certificate.
[[nodiscard]] std::vector<ObjectView> certificatesOf(const Token& token, const std::optional<std::string>& id);

} // namespace host
