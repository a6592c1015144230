#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/x509/AlternativeName.h"
#include "host/x509/Bytes.h"
#include "host/x509/Hash.h"
#include "host/x509/KeyUsage.h"
#include "host/x509/PublicKey.h"

namespace host::x509 {

/// Gets the DER DigestInfo and returns the signature of PKCS #1 v1.5 over it, as long as the modulus; may throw.
using SignDigestInfo = std::function<Bytes(const Bytes& digestInfo)>;

/// A certificate request (PKCS #10).
///
///     CertificateRequest request{parseSubject("/O=Example/CN=Jane Doe"), key};
///     request.usage = parseKeyUsage("digitalSignature");
///     const std::string pem = writePem("CERTIFICATE REQUEST", request.sign(Hash::Sha256, signOnToken));
struct CertificateRequest {
    Bytes subject; ///< DER of the name
    PublicKey publicKey;
    std::vector<AlternativeName> alternativeNames;
    KeyUsage usage; ///< no bit set: the request does not mention it

    /// The signed request in DER. Throws SignatureError when the signature is not that of the public key.
    [[nodiscard]] Bytes sign(Hash hash, const SignDigestInfo& signer) const;
};

} // namespace host::x509
