#include "host/x509/PrivateKey.h"

#include <botan/ber_dec.h>
#include <botan/pkcs8.h>
#include <botan/rsa.h>
#include <botan/system_rng.h>

#include "host/x509/Algorithms.h"
#include "host/x509/EncryptedKey.h"
#include "host/x509/Pem.h"

namespace host::x509 {

namespace {

using Secret = Botan::secure_vector<std::uint8_t>;

constexpr const char* kNoKey = "not a private key in PEM or DER";
constexpr std::size_t kPkcs12Version = 3;

[[noreturn]] void refusePkcs12(const std::string& name) {
    throw UsageError(name + ": this is PKCS #12; take it apart with these two commands and give the two files:\n"
                            "  openssl pkcs12 -in FILE.p12 -nocerts -out KEY.pem\n"
                            "  openssl pkcs12 -in FILE.p12 -clcerts -nokeys -out CERTIFICATE.pem");
}

/// What the library's own check leaves open: that the two exponents belong to each other.
bool exponentsMatch(const Botan::RSA_PrivateKey& key) {
    const Botan::BigInt product = key.get_e() * key.get_d();
    return product % (key.get_p() - 1) == 1 && product % (key.get_q() - 1) == 1;
}

PrivateKey fromPkcs1(const Secret& der, const std::string& name) {
    const Botan::RSA_PrivateKey key(rsaEncryption(), der);
    PublicKey publicKey(Botan::BigInt::encode(key.get_n()), Botan::BigInt::encode(key.get_e()), name);
    if (!key.check_key(Botan::system_rng(), false) || !exponentsMatch(key)) {
        throw UsageError(name + ": the numbers of this key do not belong together; the file is damaged");
    }
    const Secret pkcs8 = Botan::PKCS8::BER_encode(key);
    return {std::move(publicKey), SecretBuffer::copyOf({pkcs8.data(), pkcs8.size()})};
}

PrivateKey fromPkcs8(ByteView der, const std::string& name) {
    std::size_t version = 0;
    Botan::AlgorithmIdentifier algorithm;
    Secret key;
    Botan::BER_Decoder(der.data(), der.size())
        .start_cons(Botan::SEQUENCE)
        .decode(version)
        .decode(algorithm)
        .decode(key, Botan::OCTET_STRING)
        .discard_remaining()
        .end_cons()
        .verify_end();
    requireRsa(algorithm, name);
    return fromPkcs1(key, name);
}

PrivateKey fromEncrypted(ByteView der, const std::string& name, const AskPassphrase& passphrase) {
    const Secret key = decryptKey(der, name, passphrase);
    // A wrong passphrase seldom leaves valid padding, and then it leaves no valid key.
    return readOrExplain(name, "the passphrase does not open this key, or the file is damaged", [&] {
        return fromPkcs8({key.data(), key.size()}, name);
    });
}

/// What kind of key it is shows in its first two elements.
PrivateKey fromDer(ByteView der, const std::string& name, const AskPassphrase& passphrase) {
    Botan::BER_Decoder decoder(der.data(), der.size());
    Botan::BER_Decoder elements = decoder.start_cons(Botan::SEQUENCE);
    if (elements.get_next_object().is_a(Botan::SEQUENCE, Botan::CONSTRUCTED)) {
        return fromEncrypted(der, name, passphrase);
    }
    std::size_t version = 0;
    Botan::BER_Decoder again(der.data(), der.size());
    Botan::BER_Decoder numbered = again.start_cons(Botan::SEQUENCE);
    numbered.decode(version);
    if (version == kPkcs12Version) {
        refusePkcs12(name);
    }
    const bool isPkcs1 = numbered.get_next_object().is_a(Botan::INTEGER, Botan::UNIVERSAL);
    return isPkcs1 ? fromPkcs1(Secret(der.begin(), der.end()), name) : fromPkcs8(der, name);
}

PrivateKey fromPem(ByteView file, const std::string& name, const AskPassphrase& passphrase) {
    for (const PemBlock& block : readPem(file, name)) {
        if (block.isEncrypted) {
            throw UsageError(name + ": this key is encrypted in the old way of PEM; encrypt it anew with: "
                                    "openssl pkcs8 -topk8 -in OLD.pem -out NEW.pem");
        }
        if (block.label == "ENCRYPTED PRIVATE KEY") {
            return fromEncrypted(block.bytes.bytes(), name, passphrase);
        }
        if (block.label == "PRIVATE KEY") {
            return fromPkcs8(block.bytes.bytes(), name);
        }
        if (block.label == "RSA PRIVATE KEY") {
            return fromPkcs1(Secret(block.bytes.data(), block.bytes.data() + block.bytes.size()), name);
        }
        if (block.label.ends_with(" PRIVATE KEY")) {
            throw UsageError(name + ": \"" + block.label + "\" is not an RSA key");
        }
    }
    throw UsageError(name + ": no \"PRIVATE KEY\" is in this PEM file");
}

} // namespace

PrivateKey PrivateKey::read(ByteView file, const std::string& name, const AskPassphrase& passphrase) {
    return readOrExplain(
        name, kNoKey, [&] { return isPem(file) ? fromPem(file, name, passphrase) : fromDer(file, name, passphrase); });
}

} // namespace host::x509
