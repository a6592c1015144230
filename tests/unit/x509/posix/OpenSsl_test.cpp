#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/x509/Certificate.h"
#include "host/x509/CertificateRequest.h"
#include "host/x509/Name.h"
#include "host/x509/Pem.h"
#include "host/x509/PrivateKey.h"
#include "host/x509/SignatureError.h"
#include "tests/token/Shell.h"
#include "tests/unit/x509/Reading.h"

// OpenSSL writes, we read; we write, OpenSSL reads.

using namespace host::x509;
using ::testing::HasSubstr;
using tests::hexadecimal;
using tests::kName;
using tests::passphrase;

namespace {

class OpenSsl : public ::testing::Test {
protected:
    void SetUp() override {
        if (Token::shell(m_folder.path(), "openssl version").status != 0) {
            GTEST_SKIP() << "OpenSSL's command line is not installed";
        }
        run("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out key.pem");
    }

    std::string run(const std::string& command) const { return m_folder.run(command + " 2>&1"); }

    [[nodiscard]] PrivateKey readKey(const std::string& name) const {
        return PrivateKey::read(viewOf(m_folder.read(name)), name, passphrase("geheim"));
    }

    /// OpenSSL in the place of the token: it signs what is DigestInfo already.
    [[nodiscard]] SignDigestInfo signer() const {
        return [this](const Bytes& info) {
            m_folder.write("info", {info.begin(), info.end()});
            run("openssl rsautl -sign -inkey key.pem -in info -out signature");
            const std::string signature = m_folder.read("signature");
            return Bytes(signature.begin(), signature.end());
        };
    }

    [[nodiscard]] CertificateRequest request(std::string_view subject) const {
        return {parseSubject(subject), readKey("key.pem").publicKey, {}, {}};
    }

    void write(const CertificateRequest& request, Hash hash) const {
        m_folder.write("request.pem", writePem("CERTIFICATE REQUEST", request.sign(hash, signer())));
    }

    Token::Folder m_folder;
};

} // namespace

TEST_F(OpenSsl, encryptedKeysOfEachWayAreRead) {
    const PrivateKey plain = readKey("key.pem");
    for (const char* way : {"", "-v2 aes-128-cbc -v2prf hmacWithSHA512", "-v2 des3", "-scrypt", "-iter 100000",
                            "-v2prf hmacWithSHA1", "-outform DER"}) {
        SCOPED_TRACE(way);
        run(std::string("openssl pkcs8 -topk8 -in key.pem -passout pass:geheim -out encrypted ") + way);
        EXPECT_EQ(readKey("encrypted").publicKey, plain.publicKey);
    }
}

TEST_F(OpenSsl, longPassphrasesOpenKeys) {
    const std::string text = "Gr\xC3\xBC\xC3\x9F"
                             "e aus dem " +
                             std::string(200, 'x');
    m_folder.write("passphrase", text);
    run("openssl pkcs8 -topk8 -in key.pem -passout file:passphrase -out encrypted");
    EXPECT_EQ(PrivateKey::read(viewOf(m_folder.read("encrypted")), kName, passphrase(text)).publicKey.bits(), 2048U);
}

TEST_F(OpenSsl, readsThePublicKey) {
    const PublicKey key = readKey("key.pem").publicKey;
    EXPECT_EQ(run("openssl pkey -in key.pem -pubout"), key.pem());
    EXPECT_EQ(PublicKey::read(viewOf(key.pem()), kName), key);
}

TEST_F(OpenSsl, certificatesHaveOurIdentifier) {
    run("openssl req -x509 -new -key key.pem -out certificate.pem -subj /CN=a -config /dev/null"
        " -addext subjectKeyIdentifier=hash");
    const Certificate certificate = Certificate::read(viewOf(m_folder.read("certificate.pem")), kName);
    std::string identifier = run("openssl x509 -in certificate.pem -noout -ext subjectKeyIdentifier");
    std::erase_if(identifier, [](char c) { return c == ':'; });
    ASSERT_TRUE(certificate.publicKey.has_value());
    EXPECT_THAT(identifier, HasSubstr(hexadecimal(certificate.publicKey->identifier())));
}

TEST_F(OpenSsl, acceptsRequestsOfEachHash) {
    for (const Hash hash : kHashes) {
        write(request("/C=DE/O=Ex\\/ample/CN=J\xC3\xBCrgen \\+1"), hash);
        const std::string text = run("openssl req -in request.pem -verify -noout -text -nameopt RFC2253,-esc_msb,utf8");
        EXPECT_THAT(text, HasSubstr("verify OK"));
        EXPECT_THAT(text, HasSubstr("Subject: CN=J\xC3\xBCrgen \\+1,O=Ex/ample,C=DE\n"));
        EXPECT_THAT(text, HasSubstr("Signature Algorithm: " + std::string(hashName(hash)) + "WithRSAEncryption"));
    }
}

TEST_F(OpenSsl, acceptsRequestsWithExtensions) {
    CertificateRequest wanted = request("/CN=a");
    for (const char* name :
         {"DNS:host.example", "IP:192.0.2.1", "IP:2001:db8::1", "email:a@b.example", "URI:https://a/"}) {
        wanted.alternativeNames.push_back(AlternativeName::parse(name));
    }
    wanted.usage = parseKeyUsage("digitalSignature,keyEncipherment,decipherOnly");
    write(wanted, Hash::Sha256);
    const std::string text = run("openssl req -in request.pem -verify -noout -text");
    EXPECT_THAT(text, HasSubstr("verify OK"));
    EXPECT_THAT(text, HasSubstr("DNS:host.example, IP Address:192.0.2.1, IP Address:2001:DB8:0:0:0:0:0:1, "
                                "email:a@b.example, URI:https://a/\n"));
    EXPECT_THAT(text, HasSubstr("X509v3 Key Usage: critical\n"));
    EXPECT_THAT(text, HasSubstr("Digital Signature, Key Encipherment, Decipher Only\n"));
}

TEST_F(OpenSsl, writesEachKeyUsageAsWeReadIt) {
    for (const char* usage : {"digitalSignature", "cRLSign", "decipherOnly", "keyCertSign,cRLSign,decipherOnly"}) {
        run(std::string("openssl req -x509 -new -key key.pem -out certificate.pem -subj /CN=a -config /dev/null"
                        " -addext keyUsage=") +
            usage);
        EXPECT_EQ(Certificate::read(viewOf(m_folder.read("certificate.pem")), kName).usage, parseKeyUsage(usage));
    }
}

TEST_F(OpenSsl, wrongSignaturesAreNotPassedOn) {
    const SignDigestInfo right = signer();
    EXPECT_THROW((void)request("/CN=a").sign(Hash::Sha256,
                                             [&](const Bytes& info) {
                                                 Bytes signature = right(info);
                                                 signature.back() ^= 1;
                                                 return signature;
                                             }),
                 SignatureError);
}
