#pragma once

#include <string>

#include "host/card/KeySteps.h"
#include "host/card/Token.h"
#include "host/x509/PrivateKey.h"

namespace host {

/// A private key that is to come to the token, and what it is called there.
struct ImportedKey {
    x509::PrivateKey key;
    std::string id;    ///< bytes
    std::string label; ///< may be empty
    KeyUse use;
};

/// CardFailure when the token says that it cannot hold or use this key: its size, its free memory.
void checkImport(const Token& token, const x509::PrivateKey& key);

/// Writes the private key and its public key: on the token, private, sensitive, not extractable. Afterwards looks
/// whether the token shows the same key; the user is logged in. CardFailure otherwise.
void importKey(Token& token, const ImportedKey& imported);

} // namespace host
