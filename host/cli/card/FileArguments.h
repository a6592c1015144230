#pragma once

#include <string>

#include "host/cli/card/CardRun.h"
#include "host/x509/Hash.h"
#include "host/x509/PublicKey.h"

// What the commands for keys, certificates and signatures share: files, forms and hashes.

namespace host {

inline constexpr CardOption kFormatOption = {"--format", "pem|der", "Default: pem"};
inline constexpr CardOption kHashOption = {"--hash", "sha1|sha224|sha256|sha384|sha512", "Default: sha256"};

/// `file "a.pem"`, as errors name it.
[[nodiscard]] std::string fileName(const std::string& path);
[[nodiscard]] std::string textOf(const x509::Bytes& bytes);

/// The value of --hash. UsageError for an unknown one.
[[nodiscard]] x509::Hash hashOf(const CardRun& run);
/// Whether --format asks for DER. UsageError for a form that is neither, and for DER that nothing takes: it goes to
/// --out.
[[nodiscard]] bool wantsDer(const CardRun& run);

/// The keys "id", "label", "size" and "publicKey" of the answer with --json.
void answerKey(CardRun& run, const std::string& id, const std::string& label, const x509::PublicKey& key);

/// The same for a key pair that has come to the token, and its public key as PEM where the command delivers.
void answerKeyPair(CardRun& run, const std::string& id, const std::string& label, const x509::PublicKey& key);

/// Logs the user in with the PIN of --pin.
void loginUser(CardRun& run, Token& token);

} // namespace host
