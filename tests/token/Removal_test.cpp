// Removal by each kind of template. What is left is what pkcs11-tool sees.
#include "tests/token/TokenTest.h"

namespace Token {
namespace {

using Objects = std::multiset<std::string>;

const Objects kAll = {"Certificate user", "Certificate ca", "Private Key pair", "Public Key pair"};

class Removal : public TokenTest {
protected:
    void SetUp() override {
        TokenTest::SetUp();
        if (!IsSkipped() && !HasFatalFailure()) {
            writeAll();
        }
    }

    void writeAll() {
        Params user = certificate(m_user, "user", "01").hex("ISSUER", commonName("Authority")).hex("SN", "020101");
        Params authority = Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509");
        authority.bytes("DATA", hex(m_authority)).hex("LABEL", hex("ca")).hex("ID", "02");
        authority.hex("SUBJECT", commonName("Authority")).hex("ISSUER", commonName("Root")).hex("SN", "020102");
        authority.plain("PRIVATE", "1").plain("MODIFIABLE", "0");
        if (knowsCategories()) {
            user.plain("CERT_CATEGORY", "USER");
            authority.plain("CERT_CATEGORY", "CA");
        }
        succeeds("writeData", user);
        succeeds("writeData", authority);
        succeeds("writeData", keyPair(1024, 65537, "pair", "01"));
        ASSERT_EQ(objects(), kAll);
    }

    /// After this removal these are left; then the token is filled anew.
    void leaves(const Objects& left, const Params& params, Where where = Where::current()) {
        answers("0", "removeData", params, where);
        EXPECT_EQ(objects(), left) << "line " << where.line();
        answers(left.empty() ? "80f3" : "0", "removeData", Params().plain("OBJ_TYPE", "ANY").plain("TOKEN", "1"));
        EXPECT_EQ(objects(), Objects()) << "line " << where.line();
        writeAll();
    }

    /// Nothing matches, so all is left.
    void findsNothing(const Params& params, Where where = Where::current()) {
        answers("80f3", "removeData", params, where);
        EXPECT_EQ(objects(), kAll) << "line " << where.line();
    }

    [[nodiscard]] static bool knowsCategories() { return std::string(GetParam().category) == "0"; }

    static Params of(const std::string& type) { return Params().plain("OBJ_TYPE", type); }

private:
    const std::string m_user = makeCertificate("Holder");
    const std::string m_authority = makeCertificate("Authority");
};

TEST_P(Removal, ofCertificates) {
    leaves({"Private Key pair", "Public Key pair"}, of("CERTIFICATE"));
    leaves({"Certificate ca", "Private Key pair", "Public Key pair"}, of("CERTIFICATE").hex("ID", "01"));
    findsNothing(of("CERTIFICATE").hex("ID", "03"));
    findsNothing(of("CERTIFICATE").hex("ID", "01").hex("LABEL", hex("ca")));
}

TEST_P(Removal, ofKeyPairs) {
    leaves({"Certificate user", "Certificate ca"}, of("KEY_PAIR"));
    leaves({"Certificate user", "Certificate ca"}, of("KEY_PAIR").hex("ID", "01"));
    findsNothing(of("KEY_PAIR").hex("ID", "02"));
}

TEST_P(Removal, ofAnyClass) {
    leaves({"Certificate ca"}, of("ANY").hex("ID", "01"));
    leaves({"Certificate user", "Private Key pair", "Public Key pair"}, of("ANY").hex("LABEL", hex("ca")));
}

TEST_P(Removal, withoutATypeOrWithItElsewhere) {
    leaves({"Certificate ca"}, Params().hex("ID", "01"));
    // Looked at in the first place only.
    leaves({"Certificate ca"}, Params().hex("ID", "01").plain("OBJ_TYPE", "CERTIFICATE"));
}

TEST_P(Removal, ofEverything) {
    leaves({}, of("ANY"));
    leaves({}, Params());
}

TEST_P(Removal, byTheNamesInACertificate) {
    leaves({"Certificate ca", "Private Key pair", "Public Key pair"}, of("ANY").hex("SUBJECT", commonName("Holder")));
    leaves({"Certificate ca", "Private Key pair", "Public Key pair"}, of("ANY").hex("ISSUER", commonName("Authority")));
    leaves({"Certificate user", "Private Key pair", "Public Key pair"}, of("ANY").hex("SN", "020102"));
    findsNothing(of("CERTIFICATE").hex("SUBJECT", commonName("Authority")).hex("SN", "020101"));
}

TEST_P(Removal, byCategory) {
    if (!knowsCategories()) {
        findsNothing(of("ANY").plain("CERT_CATEGORY", "USER"));
        return;
    }
    leaves({"Certificate ca", "Private Key pair", "Public Key pair"}, of("ANY").plain("CERT_CATEGORY", "USER"));
    leaves({"Certificate user", "Private Key pair", "Public Key pair"}, of("CERTIFICATE").plain("CERT_CATEGORY", "CA"));
    answers("80ec", "removeData", of("CERTIFICATE").plain("CERT_CATEGORY", "OTHER"));
    EXPECT_EQ(objects(), kAll);
}

TEST_P(Removal, byFlags) {
    leaves({"Certificate user", "Public Key pair"}, of("ANY").plain("PRIVATE", "1"));
    leaves({"Certificate ca", "Private Key pair"}, of("ANY").plain("PRIVATE", "0"));
    leaves({"Certificate user", "Private Key pair", "Public Key pair"}, of("ANY").plain("MODIFIABLE", "0"));
    leaves({"Certificate ca", "Private Key pair", "Public Key pair"}, of("CERTIFICATE").plain("MODIFIABLE", "1"));
}

TEST_P(Removal, ofAnObjectThatIsNotOnTheToken) {
    succeeds("writeData", certificate(makeCertificate("Holder"), "passing", "05").plain("TOKEN", "0"));
    EXPECT_EQ(objects(), kAll);
    const Params passing = Params().plain("OBJ_TYPE", "CERTIFICATE").plain("TOKEN", "0");
    EXPECT_EQ(succeeds("readData", passing).value("COUNT"), "1");
    succeeds("removeData", passing);
    EXPECT_EQ(succeeds("readData", passing).value("COUNT"), "0");
    EXPECT_EQ(objects(), kAll);
}

INSTANTIATE_TEST_SUITE_P(Tokens, Removal, ::testing::ValuesIn(kinds()), kindName);

} // namespace
} // namespace Token
