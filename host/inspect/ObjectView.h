#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

enum class ObjectClass { Certificate, PrivateKey, PublicKey, SecretKey, Data, Other };

/// An object on the token as its attributes show it; what the token does not show is empty. All texts are bytes.
struct ObjectView {
    ObjectClass objectClass = ObjectClass::Other;
    std::string label;
    std::string id;
    std::string type;                  ///< "RSA", "EC", "X.509" …; empty when unknown
    std::optional<std::uint64_t> size; ///< keys: bits; certificates and data: bytes
    bool isPrivate = false;
    bool isModifiable = true;
    std::vector<std::string> usage; ///< "sign", "decrypt" …
    std::string modulus;            ///< RSA keys, without leading zero bytes
    std::string exponent;           ///< the public one
    std::string value;              ///< certificates: the DER
    std::string subject;            ///< DER, as are issuer and serial
    std::string issuer;
    std::string serial;
    std::string containerName; ///< private keys, where the token keeps it
};

/// "certificate", "private-key", "public-key", "secret-key", "data", "other".
[[nodiscard]] const char* nameOf(ObjectClass objectClass);

} // namespace host
