#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/card/Token.h"
#include "host/x509/PublicKey.h"

namespace host {

/// A public key as a token shows it.
struct FoundKey {
    x509::PublicKey key;
    std::string label;              ///< of the object that it comes from
    std::vector<std::string> usage; ///< of the key objects; empty when it comes from a certificate
};

/// The RSA public key of an identifier: that of the public key object, else of the private key, which is seen when the
/// user is logged in, else of the certificate. Nothing when no object has the identifier. CardFailure when an object
/// has it and holds no RSA key.
[[nodiscard]] std::optional<FoundKey> findKey(const Token& token, const std::string& id);
/// The same; CardFailure (4) when no object has the identifier.
[[nodiscard]] FoundKey requireKey(const Token& token, const std::string& id);

} // namespace host
