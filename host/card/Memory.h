#pragma once

#include <cstdint>
#include <string>

#include "host/card/Token.h"

namespace host {

/// What new objects take on a token at least, in bytes.
struct MemoryNeed {
    std::string what; ///< "the certificate"
    std::uint64_t publicBytes = 0;
    std::uint64_t privateBytes = 0;
};

/// CardFailure when the token says that it has less memory left. A token that does not say how much it has is believed
/// to have enough.
void requireMemory(const Token& token, const MemoryNeed& need);

/// What an RSA key pair takes: the public key its modulus, the private key its eight numbers.
[[nodiscard]] MemoryNeed keyPairNeed(const std::string& what, std::uint64_t bits);

} // namespace host
