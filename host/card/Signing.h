#pragma once

#include <optional>
#include <string>

#include "host/card/KeyLookup.h"
#include "host/card/Token.h"
#include "host/x509/CertificateRequest.h"

// Steps that sign with a key of the token; the user is logged in.

namespace host {

/// Digest of a file, which may be of any size. UsageError when it cannot be read.
[[nodiscard]] x509::Bytes digestOfFile(const std::string& path, x509::Hash hash);

/// The signature of PKCS #1 v1.5 over a DigestInfo. CardFailure when the token does not sign; empty in a dry run.
[[nodiscard]] x509::Bytes signDigestInfo(Token& token, const std::string& id, const x509::Bytes& digestInfo);

struct SignedDigest {
    x509::Bytes signature; ///< empty in a dry run
    bool isVerified = false;
};

/// Signs a digest and verifies the signature with the public key or certificate on the token, where there is one.
/// CardFailure when it does not verify: the signature is not given out.
[[nodiscard]] SignedDigest signDigest(Token& token, const std::string& id, x509::Hash hash, const x509::Bytes& digest);

/// What the key on the token may do, in the words of certificates; no bit set when the token does not say.
[[nodiscard]] x509::KeyUsage usageOf(const FoundKey& key);

/// The signed request in DER; nothing in a dry run. CardFailure as above.
[[nodiscard]] std::optional<x509::Bytes> signRequest(Token& token, const std::string& id, x509::Hash hash,
                                                     const x509::CertificateRequest& request);

} // namespace host
