// The card commands that take or give keys, certificates, requests and signatures as files, on SoftHSM2. OpenSSL and
// pkcs11-tool say whether they are right.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/host/posix/SoftTokenFolder.h"

namespace tests {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class CardFiles : public SoftTokenFolder {
protected:
    void SetUp() override {
        SoftTokenFolder::SetUp();
        if (IsSkipped()) {
            return;
        }
        if (run({"/bin/sh", "-c", "command -v openssl && command -v pkcs11-tool"}).status != 0) {
            GTEST_SKIP() << "OpenSSL's command line or pkcs11-tool is not installed";
        }
        m_officer = "file:" + secretFile("so", "12345678");
        m_pin = "file:" + secretFile("pin", "123456");
        ASSERT_EQ(host({"init-token", "--label", "alice", "--so-pin", m_officer, "--new-pin", m_pin}).status, 0);
        openssl("genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out key.pem");
    }

    [[nodiscard]] std::string at(const std::string& name) const { return folder() + "/" + name; }
    /// What another program says; run in the test's folder.
    std::string other(const std::string& commandLine) const {
        const Outcome outcome = run({"/bin/sh", "-c", "cd '" + folder() + "' && " + commandLine + " 2>&1"}, "",
                                    {{"SOFTHSM2_CONF", configuration()}});
        EXPECT_EQ(outcome.status, 0) << commandLine << "\n" << outcome.output;
        return outcome.output;
    }
    std::string openssl(const std::string& arguments) const { return other("openssl " + arguments); }
    [[nodiscard]] Outcome withPin(Words words) const {
        words.insert(words.end(), {"--pin", m_pin});
        return host(words);
    }
    [[nodiscard]] json answer(Words words, int status = 0) const {
        words.insert(words.begin(), "--json");
        const Outcome outcome = host(words);
        EXPECT_EQ(outcome.status, status) << outcome.errors;
        return json::parse(outcome.output);
    }
    [[nodiscard]] std::string contentOf(const std::string& name) const { return tests::contentOf(at(name)); }
    /// The key of key.pem with the identifier 01, and its certificate in a file.
    void importedKey() const {
        ASSERT_EQ(withPin({"import-key", at("key.pem"), "--id", "01", "--label", "mine"}).status, 0);
        certify("key.pem", "certificate.pem");
    }
    void certify(const std::string& key, const std::string& certificate) const {
        openssl("req -x509 -new -key " + key + " -out " + certificate +
                " -days 30 -subj '/O=Ex/CN=J\xC3\xBCrgen' -utf8 -config /dev/null");
    }

    std::string m_officer;
    std::string m_pin;
};

} // namespace

TEST_F(CardFiles, anEncryptedKeyIsImportedUnderItsOwnIdentifier) {
    const std::string passphrase = secretFile("passphrase", "geheim");
    openssl("pkcs8 -topk8 -in key.pem -passout file:passphrase -out encrypted.pem");
    openssl("req -x509 -new -key key.pem -out c.pem -subj /CN=a -config /dev/null -addext subjectKeyIdentifier=hash");
    std::string identifier = openssl("x509 -in c.pem -noout -ext subjectKeyIdentifier");
    std::erase_if(identifier, [](char c) { return c == ':' || c == ' ' || c == '\n'; });
    const json made = answer({"import-key", at("encrypted.pem"), "--passphrase", "file:" + passphrase, "--pin", m_pin});
    EXPECT_THAT(identifier, HasSubstr(made.at("id").get<std::string>()));
    EXPECT_EQ(made.at("size"), 2048);
    EXPECT_EQ(made.at("publicKey"), openssl("pkey -in key.pem -pubout"));
    const std::string seen = other(std::string("pkcs11-tool --module '") + SOFTHSM_MODULE +
                                   "' --login --pin 123456 --list-objects --type privkey");
    EXPECT_THAT(seen, HasSubstr("Usage:      decrypt, sign\n"));
    EXPECT_THAT(seen, HasSubstr("Access:     sensitive"));
}

TEST_F(CardFiles, aKeyThatIsThereOrCannotBeReadIsNotImported) {
    importedKey();
    EXPECT_EQ(withPin({"import-key", at("key.pem"), "--id", "01"}).status, 9);
    certify("key.pem", "other.pem");
    openssl("pkcs12 -export -in other.pem -inkey key.pem -passout pass:a -out all.p12");
    const Outcome refused = withPin({"import-key", at("all.p12"), "--id", "02"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.errors, HasSubstr("openssl pkcs12 -in FILE.p12 -nocerts -out KEY.pem"));
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 2U);
}

TEST_F(CardFiles, thePublicKeyIsShownInBothForms) {
    importedKey();
    EXPECT_EQ(host({"public-key", "--id", "01"}).output, openssl("pkey -in key.pem -pubout"));
    EXPECT_EQ(host({"public-key", "--id", "01", "--format", "der", "--out", at("key.der")}).status, 0);
    openssl("pkey -in key.pem -pubout -outform DER -out theirs.der");
    EXPECT_EQ(contentOf("key.der"), contentOf("theirs.der"));
    EXPECT_EQ(host({"public-key", "--id", "01", "--format", "der"}).status, 2);
    EXPECT_EQ(host({"public-key", "--id", "02"}).status, 4);
}

TEST_F(CardFiles, aRequestIsSignedOnTheToken) {
    importedKey();
    ASSERT_EQ(withPin({"request", "--id", "01", "--subject", "/O=Ex/CN=J\xC3\xBCrgen", "--san", "DNS:a.example",
                       "--san", "email:j@a.example", "--out", at("request.pem")})
                  .status,
              0);
    const std::string text = openssl("req -in request.pem -verify -noout -text -nameopt RFC2253,-esc_msb,utf8");
    EXPECT_THAT(text, HasSubstr("verify OK"));
    EXPECT_THAT(text, HasSubstr("Subject: CN=J\xC3\xBCrgen,O=Ex\n"));
    EXPECT_THAT(text, HasSubstr("DNS:a.example, email:j@a.example\n"));
    EXPECT_THAT(text, HasSubstr("Digital Signature, Key Encipherment\n"));
    EXPECT_EQ(openssl("req -in request.pem -noout -pubkey"), openssl("pkey -in key.pem -pubout"));
    EXPECT_EQ(withPin({"request", "--id", "01", "--subject", "CN=a"}).status, 2);
    EXPECT_EQ(withPin({"request", "--id", "02", "--subject", "/CN=a"}).status, 4);
}

TEST_F(CardFiles, theResultNeverReplacesTheKeyThatIsRead) {
    const std::string before = contentOf("key.pem");
    other("ln -s key.pem same.pem");
    const Outcome refused = withPin({"import-key", at("key.pem"), "--id", "01", "--out", at("same.pem")});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.errors, HasSubstr("name another one for the result"));
    EXPECT_EQ(contentOf("key.pem"), before);
    EXPECT_THAT(answer({"objects", "--pin", m_pin}).at("objects"), IsEmpty());
}

TEST_F(CardFiles, aCertificateIsWrittenForItsKeyAndReadBack) {
    importedKey();
    const json written = answer({"write-certificate", at("certificate.pem"), "--id", "01", "--pin", m_pin});
    EXPECT_EQ(written.at("id"), "01");
    EXPECT_EQ(written.at("subject"), "CN=J\xC3\xBCrgen,O=Ex");
    EXPECT_EQ(written.at("issuer"), "CN=J\xC3\xBCrgen,O=Ex");
    EXPECT_THAT(openssl("x509 -in certificate.pem -noout -serial"), HasSubstr(written.at("serial").get<std::string>()));
    const json all = answer({"objects"}).at("objects");
    for (const json& object : all) {
        EXPECT_EQ(object.value("key", "none"), object.at("class") == "certificate" ? "01" : "none");
    }
    const json certificates = answer({"objects", "--uri", "pkcs11:type=cert"}).at("objects");
    ASSERT_EQ(certificates.size(), 1U);
    EXPECT_EQ(certificates[0].at("class"), "certificate");
    const json list = answer({"read-certificates"}).at("certificates");
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].at("pem"), contentOf("certificate.pem"));
    EXPECT_EQ(list[0].at("subject"), "CN=J\xC3\xBCrgen,O=Ex");
    EXPECT_EQ(list[0].at("id"), "01");
    ASSERT_EQ(host({"read-certificates", "--id", "01", "--format", "der", "--out", at("read.der")}).status, 0);
    EXPECT_EQ(openssl("x509 -in read.der -inform DER"), contentOf("certificate.pem"));
    ASSERT_EQ(host({"read-certificates", "--out", folder()}).status, 0);
    EXPECT_EQ(contentOf("01.pem"), contentOf("certificate.pem"));
    EXPECT_EQ(host({"read-certificates", "--id", "02"}).status, 4);
    const std::string seen =
        other(std::string("pkcs11-tool --module '") + SOFTHSM_MODULE + "' --list-objects --type cert");
    EXPECT_THAT(seen, HasSubstr("label:      mine\n"));
}

TEST_F(CardFiles, aCertificateOfAnotherKeyIsRefused) {
    importedKey();
    openssl("genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out other.pem");
    certify("other.pem", "wrong.pem");
    const Words wrong = {"write-certificate", at("wrong.pem"), "--id", "01"};
    const Outcome refused = withPin(wrong);
    EXPECT_EQ(refused.status, 9);
    EXPECT_THAT(refused.errors, HasSubstr("the certificate belongs to another key"));
    EXPECT_EQ(withPin({"write-certificate", at("certificate.pem"), "--id", "02"}).status, 4);
    EXPECT_EQ(host({"read-certificates"}).status, 4);
    ASSERT_EQ(withPin({"write-certificate", at("certificate.pem"), "--id", "01"}).status, 0);
    EXPECT_EQ(withPin({"write-certificate", at("certificate.pem"), "--id", "01"}).status, 9);
    EXPECT_EQ(answer({"read-certificates"}).at("certificates").size(), 1U);
}

TEST_F(CardFiles, aUriNeverRemovesMoreThanItNames) {
    importedKey();
    ASSERT_EQ(withPin({"write-certificate", at("certificate.pem"), "--id", "01"}).status, 0);
    for (const char* uri : {"pkcs11:object=mine", "pkcs11:object=mine;id=%01", "pkcs11:type=public;id=%01",
                            "pkcs11:type=data", "pkcs11:type=secret-key;id=%01"}) {
        EXPECT_EQ(withPin({"remove", "--all", "--yes", "--uri", uri}).status, 2) << uri;
        EXPECT_EQ(withPin({"remove", "--yes", "--uri", uri}).status, 2) << uri;
    }
    const std::string certificate = "pkcs11:type=cert;id=%01";
    EXPECT_EQ(withPin({"remove", "--keys", "--yes", "--uri", certificate}).status, 2);
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 3U);
    EXPECT_EQ(withPin({"remove", "--yes", "--uri", certificate}).status, 0);
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 2U);
    EXPECT_EQ(withPin({"remove", "--yes", "--uri", "pkcs11:type=private;id=%01"}).status, 0);
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 0U);
}

TEST_F(CardFiles, anAuthoritysCertificateNeedsNoKey) {
    openssl(
        "req -x509 -new -key key.pem -out user.pem -subj /CN=u -config /dev/null -addext basicConstraints=CA:FALSE");
    openssl("req -x509 -new -key key.pem -out ca.pem -subj /CN=r -config /dev/null"
            " -addext basicConstraints=critical,CA:TRUE");
    EXPECT_EQ(withPin({"write-certificate", at("user.pem"), "--ca"}).status, 2);
    const json written = answer({"write-certificate", at("ca.pem"), "--ca", "--label", "root", "--pin", m_pin});
    EXPECT_EQ(written.at("subject"), "CN=r");
    EXPECT_EQ(written.at("id").get<std::string>().size(), 40U);
}

TEST_F(CardFiles, aFileIsSignedAndTheSignatureVerifiedByBoth) {
    importedKey();
    const std::string letter = secretFile("letter", "Dear all");
    for (const char* hash : {"sha1", "sha224", "sha256", "sha384", "sha512"}) {
        ASSERT_EQ(withPin({"sign", letter, "--id", "01", "--hash", hash, "--out", at("signature")}).status, 0) << hash;
        openssl("pkey -in key.pem -pubout -out key.pub");
        EXPECT_EQ(openssl(std::string("dgst -") + hash + " -verify key.pub -signature signature letter"),
                  "Verified OK\n");
        EXPECT_EQ(host({"verify", letter, at("signature"), "--id", "01", "--hash", hash}).status, 0);
    }
    const json made = answer({"sign", letter, "--id", "01", "--pin", m_pin});
    EXPECT_EQ(made.at("hash"), "sha256");
    EXPECT_EQ(made.at("verified"), true);
    const std::string text = secretFile("base64", made.at("signature").get<std::string>());
    EXPECT_EQ(answer({"verify", letter, text, "--id", "01"}).at("valid"), true);
    const std::string changed = secretFile("letter", "Dear all!");
    EXPECT_EQ(answer({"verify", changed, text, "--id", "01"}, 1).at("valid"), false);
    EXPECT_EQ(withPin({"sign", at("absent"), "--id", "01"}).status, 2);
    EXPECT_EQ(withPin({"sign", letter, "--id", "02"}).status, 4);
}

TEST_F(CardFiles, aDryRunShowsTheScriptsAndChangesNothing) {
    const Outcome shown = withPin({"import-key", at("key.pem"), "--id", "01", "--dry-run"});
    EXPECT_EQ(shown.status, 0) << shown.errors;
    EXPECT_THAT(shown.output, HasSubstr("writeData OBJ_TYPE=KEY_PAIR"));
    EXPECT_THAT(shown.output, HasSubstr("KEYVALUE=(secret)"));
    EXPECT_TRUE(answer({"objects", "--pin", m_pin}).at("objects").empty());
    importedKey();
    const std::string letter = secretFile("letter", "Dear all");
    for (const Words& words :
         {Words{"write-certificate", at("certificate.pem"), "--id", "01", "--dry-run"},
          Words{"sign", letter, "--id", "01", "--out", at("signature"), "--dry-run"},
          Words{"request", "--id", "01", "--subject", "/CN=a", "--out", at("signature"), "--dry-run"}}) {
        const Outcome outcome = withPin(words);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_THAT(outcome.output, HasSubstr("Nothing was changed."));
    }
    EXPECT_EQ(contentOf("signature"), "");
    EXPECT_EQ(answer({"objects", "--pin", m_pin}).at("objects").size(), 2U);
}

} // namespace tests
