#pragma once

#include <functional>
#include <string>

#include "host/x509/Bytes.h"
#include "host/x509/PublicKey.h"
#include "text/SecretBuffer.h"
#include "text/Wiped.h"

namespace host::x509 {

/// Asked for when a file turns out to be encrypted, once at most; may throw.
using AskPassphrase = std::function<WipedBytes()>;

/// An RSA private key for the token. Every buffer that held a part of it, the library's included, is wiped.
struct PrivateKey {
    PublicKey publicKey;
    SecretBuffer pkcs8; ///< DER PrivateKeyInfo, not encrypted

    /// Takes PKCS #8, plain or encrypted (PBES2, as `openssl pkcs8 -topk8` writes it), and plain PKCS #1, in PEM or
    /// DER. `passphrase` is called for an encrypted one only. UsageError with `name` in front says what a file is that
    /// cannot be taken and which command makes one of it that can: PKCS #12, old PEM encryption, PBES1, keys that are
    /// not RSA; likewise a wrong passphrase and numbers that do not belong together.
    [[nodiscard]] static PrivateKey read(ByteView file, const std::string& name, const AskPassphrase& passphrase);
};

} // namespace host::x509
