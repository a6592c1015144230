#pragma once

#include "host/x509/Bytes.h"
#include "host/x509/CertificateRequest.h"
#include "host/x509/PublicKey.h"

namespace host::x509 {

/// A certificate in DER that a key signs for itself with SHA-256, valid for a day from now, to try a token with.
/// `subject` is the DER of its name, `serial` the number's big-endian bytes. Throws SignatureError when the signature
/// is not that of the public key.
[[nodiscard]] Bytes testCertificate(const Bytes& subject, const Bytes& serial, const PublicKey& key,
                                    const SignDigestInfo& signer);

} // namespace host::x509
