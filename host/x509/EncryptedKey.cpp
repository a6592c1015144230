#include "host/x509/EncryptedKey.h"

#include <botan/pbes2.h>

#include "host/x509/Algorithms.h"
#include "text/SecureZero.h"

namespace host::x509 {

namespace {

using Secret = Botan::secure_vector<std::uint8_t>;

constexpr const char* kPbes2 = "1.2.840.113549.1.5.13";
constexpr const char* kPbkdf2 = "1.2.840.113549.1.5.12";
constexpr const char* kNoEncryptedKey = "not an encrypted PKCS #8 key";

// Far above what programs write by default (2048 to 600000 rounds; scrypt with N 16384, r 8, p 1); takes seconds at
// most.
constexpr std::size_t kMostRounds = 10'000'000;
constexpr std::size_t kMostScryptWork = std::size_t{1} << 22; ///< N * r * p; 128 times as many bytes are worked through
constexpr std::size_t kLongestKey = 64;

/// What the library takes as a passphrase: standard strings keep short text inside themselves, where no heap wipes it.
class Passphrase {
public:
    explicit Passphrase(const WipedBytes& bytes) : m_text(bytes.data(), bytes.size()) {}
    Passphrase(const Passphrase&) = delete;
    Passphrase& operator=(const Passphrase&) = delete;
    ~Passphrase() { text::secureZero(m_text.data(), m_text.capacity()); }

    [[nodiscard]] const std::string& text() const noexcept { return m_text; }

private:
    std::string m_text;
};

/// A product of numbers, or more than `most` as soon as it is that.
std::size_t product(std::initializer_list<std::size_t> factors, std::size_t most) noexcept {
    std::size_t result = 1;
    for (const std::size_t factor : factors) {
        if (factor != 0 && result > most / factor) {
            return most + 1;
        }
        result *= factor;
    }
    return result;
}

/// Returns true when deriving the key takes an honest amount of time and memory.
bool isBearable(const Botan::AlgorithmIdentifier& derivation) {
    Secret salt;
    std::size_t rounds = 0;
    std::size_t width = 1;
    std::size_t lanes = 1;
    std::size_t keyLength = 0;
    const bool isPbkdf2 = derivation.get_oid() == Botan::OID(kPbkdf2);
    Botan::BER_Decoder decoder(derivation.get_parameters());
    Botan::BER_Decoder parameters = decoder.start_cons(Botan::SEQUENCE);
    parameters.decode(salt, Botan::OCTET_STRING).decode(rounds);
    if (!isPbkdf2) {
        parameters.decode(width).decode(lanes);
    }
    parameters.decode_optional(keyLength, Botan::INTEGER, Botan::UNIVERSAL);
    return keyLength <= kLongestKey &&
           (isPbkdf2 ? rounds <= kMostRounds : product({rounds, width, lanes}, kMostScryptWork) <= kMostScryptWork);
}

void checkEncryption(const Botan::AlgorithmIdentifier& encryption, const std::string& name) {
    if (encryption.get_oid() != Botan::OID(kPbes2)) {
        throw UsageError(name + ": the key is encrypted in an old way (" + encryption.get_oid().to_string() +
                         "); encrypt it anew with: openssl pkcs8 -topk8 -in OLD.pem -out NEW.pem");
    }
    Botan::AlgorithmIdentifier derivation;
    Botan::BER_Decoder(encryption.get_parameters()).start_cons(Botan::SEQUENCE).decode(derivation);
    if (!isBearable(derivation)) {
        throw UsageError(name + ": opening this key would take too much time or memory; encrypt it anew with: "
                                "openssl pkcs8 -topk8 -in OLD.pem -out NEW.pem");
    }
}

Secret decrypt(const Secret& encrypted, const WipedBytes& passphrase, const Bytes& parameters,
               const std::string& name) {
    const Passphrase secret(passphrase);
    try {
        return Botan::pbes2_decrypt(encrypted, secret.text(), parameters);
    } catch (const Botan::Lookup_Error& error) {
        throw UsageError(name + ": the key is encrypted in a way that is not supported (" + error.what() + ")");
    } catch (const Botan::Exception&) {
        throw UsageError(name + ": the passphrase does not open this key, or the file is damaged");
    }
}

} // namespace

Secret decryptKey(ByteView der, const std::string& name, const AskPassphrase& passphrase) {
    Botan::AlgorithmIdentifier encryption;
    Secret encrypted;
    readOrExplain(name, kNoEncryptedKey, [&] {
        Botan::BER_Decoder(der.data(), der.size())
            .start_cons(Botan::SEQUENCE)
            .decode(encryption)
            .decode(encrypted, Botan::OCTET_STRING)
            .end_cons()
            .verify_end();
        checkEncryption(encryption, name);
    });
    Secret key = decrypt(encrypted, passphrase(), encryption.get_parameters(), name);
    wipeUnusedStack();
    return key;
}

} // namespace host::x509
