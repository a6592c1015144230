#pragma once

#include <cstdint>

#include "cryptoki/cryptoki.h"

// The Cryptoki calls that the plug-in makes for a script, one for one and with the same templates, made directly: the
// measure of everything else. A session is open, whose handle is given. Each throws std::runtime_error on a failure.

namespace bench {

struct RawToken {
    CK_FUNCTION_LIST& functions;
    CK_SESSION_HANDLE session;
};

void rawSign(const RawToken& token);
void rawAuthenticateSignDeauthenticate(const RawToken& token, const char* pin);
/// Returns how many were read.
CK_ULONG rawReadCertificates(const RawToken& token);
void rawWriteCertificate(const RawToken& token, std::uint32_t number);
/// Returns how many were removed.
CK_ULONG rawRemoveCertificates(const RawToken& token);
void rawGenerateKeyPair(const RawToken& token);

} // namespace bench
