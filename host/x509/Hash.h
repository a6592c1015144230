#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string_view>

#include "host/x509/Bytes.h"

namespace Botan {
class HashFunction;
}

namespace host::x509 {

enum class Hash { Sha1, Sha224, Sha256, Sha384, Sha512 };

inline constexpr std::array kHashes{Hash::Sha1, Hash::Sha224, Hash::Sha256, Hash::Sha384, Hash::Sha512};

/// "sha1", "sha224", "sha256", "sha384" or "sha512", as the command line writes them.
[[nodiscard]] std::string_view hashName(Hash hash) noexcept;
/// The hash of such a name; nullopt for an unknown one.
[[nodiscard]] std::optional<Hash> hashOfName(std::string_view name) noexcept;

/// Hashes what comes in pieces.
///
///     Hasher hasher(Hash::Sha256);
///     while (read(piece)) { hasher.update(piece); }
///     const Bytes digest = hasher.finish();
class Hasher {
public:
    explicit Hasher(Hash hash);
    Hasher(const Hasher&) = delete;
    Hasher& operator=(const Hasher&) = delete;
    ~Hasher();

    void update(ByteView piece);
    /// The digest of all pieces; the hasher begins anew afterwards.
    [[nodiscard]] Bytes finish();

private:
    std::unique_ptr<Botan::HashFunction> m_function;
};

[[nodiscard]] Bytes digestOf(Hash hash, ByteView bytes);

/// The DER DigestInfo that RSA PKCS #1 v1.5 signs: the hash's identifier and the digest.
[[nodiscard]] Bytes digestInfo(Hash hash, ByteView digest);

} // namespace host::x509
