#include "host/x509/Hash.h"

#include <botan/hash.h>
#include <botan/hash_id.h>

#include "host/x509/Algorithms.h"

namespace host::x509 {

namespace {

struct Names {
    std::string_view own;
    const char* library;
};

/// In the order of Hash.
constexpr std::array<Names, kHashes.size()> kNames{
    {{"sha1", "SHA-1"}, {"sha224", "SHA-224"}, {"sha256", "SHA-256"}, {"sha384", "SHA-384"}, {"sha512", "SHA-512"}}};

} // namespace

std::string_view hashName(Hash hash) noexcept {
    return kNames[static_cast<std::size_t>(hash)].own;
}

const char* libraryName(Hash hash) noexcept {
    return kNames[static_cast<std::size_t>(hash)].library;
}

std::optional<Hash> hashOfName(std::string_view name) noexcept {
    for (const Hash hash : kHashes) {
        if (hashName(hash) == name) {
            return hash;
        }
    }
    return std::nullopt;
}

Hasher::Hasher(Hash hash) : m_function(Botan::HashFunction::create_or_throw(libraryName(hash))) {}

Hasher::~Hasher() = default;

void Hasher::update(ByteView piece) {
    m_function->update(piece.data(), piece.size());
}

Bytes Hasher::finish() {
    Bytes digest(m_function->output_length());
    m_function->final(digest.data());
    return digest;
}

Bytes digestOf(Hash hash, ByteView bytes) {
    Hasher hasher(hash);
    hasher.update(bytes);
    return hasher.finish();
}

Bytes digestInfo(Hash hash, ByteView digest) {
    Bytes info = Botan::pkcs_hash_id(libraryName(hash));
    info.insert(info.end(), digest.begin(), digest.end());
    return info;
}

} // namespace host::x509
