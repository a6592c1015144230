#pragma once

#include <string>

#include <botan/secmem.h>

#include "host/x509/PrivateKey.h"

namespace host::x509 {

/// The DER PrivateKeyInfo inside a DER EncryptedPrivateKeyInfo. UsageError with `name` in front for an encryption that
/// is not PBES2, for one that asks for hours or gigabytes to derive its key, and when the passphrase does not open it.
[[nodiscard]] Botan::secure_vector<std::uint8_t> decryptKey(ByteView der, const std::string& name,
                                                            const AskPassphrase& passphrase);

} // namespace host::x509
