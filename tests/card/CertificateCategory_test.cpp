// A token that keeps no certificate category refused every certificate.
#include "host/card/Certificates.h"
#include "tests/card/CardTest.h"

namespace tests {
namespace {

using Fake::Function;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class CertificateCategory : public CardTest {
protected:
    void write(bool isAuthority) {
        host::NewCertificate added;
        added.certificate.der = {0x30, 0x00};
        added.certificate.subject = added.certificate.issuer = {0x30, 0x00};
        added.certificate.serial = {0x02, 0x01, 0x01};
        added.id = "\x01";
        added.isAuthority = isAuthority;
        host::Token& card = token();
        card.login(secretOf(Fake::kUserPin));
        writeCertificate(card, added);
    }
    [[nodiscard]] static std::optional<CK_ULONG> category() {
        return Fake::module().objects().front().attributes.numberOf(CKA_CERTIFICATE_CATEGORY);
    }
};

TEST_F(CertificateCategory, isWrittenWhereTheTokenKeepsIt) {
    write(true);
    EXPECT_EQ(category(), 2U);
    EXPECT_THAT(person.told, IsEmpty());
}

TEST_F(CertificateCategory, isLeftOutWhereTheTokenDoesNotKnowIt) {
    Fake::module().answerNext(Function::C_CreateObject, CKR_ATTRIBUTE_TYPE_INVALID);
    write(false);
    EXPECT_EQ(category(), std::nullopt);
    EXPECT_THAT(person.told, IsEmpty());
    EXPECT_EQ(calls("C_Login"), 1U);
}

TEST_F(CertificateCategory, ofAnAuthorityThatIsLeftOutIsSaid) {
    Fake::module().answerNext(Function::C_CreateObject, CKR_ATTRIBUTE_TYPE_INVALID);
    write(true);
    EXPECT_THAT(person.told, HasSubstr("does not keep that this is the certificate of an authority"));
}

TEST_F(CertificateCategory, isNotTheReasonForOtherFailures) {
    Fake::module().answerNext(Function::C_CreateObject, CKR_DEVICE_MEMORY);
    EXPECT_EQ(failureIn([&] { write(false); }).result, "CKR_DEVICE_MEMORY");
    EXPECT_EQ(calls("C_CreateObject"), 1U);
}

} // namespace
} // namespace tests
