// A token that says how little memory it has left is believed before anything is sent to it.
#include "host/card/ImportKey.h"
#include "host/card/KeySteps.h"
#include "host/card/Memory.h"
#include "host/plugin/Texts.h"
#include "tests/card/CardTest.h"
#include "tests/unit/crypto/OpenSslKeys.h"

namespace tests {
namespace {

using host::ExitStatus;
using ::testing::HasSubstr;

constexpr CK_ULONG kUnknown = CK_UNAVAILABLE_INFORMATION;

class MemoryTest : public CardTest {
protected:
    /// The token with this memory left, in a dry run.
    host::Token& tokenWith(CK_ULONG publicLeft, CK_ULONG privateLeft, CK_ULONG total = 65536) {
        CK_TOKEN_INFO info = Fake::module().tokenInfo();
        info.ulTotalPublicMemory = total;
        info.ulTotalPrivateMemory = total;
        info.ulFreePublicMemory = publicLeft;
        info.ulFreePrivateMemory = privateLeft;
        Fake::module().setTokenInfo(Fake::kSlot, info);
        return token({.isDryRun = true});
    }
};

TEST_F(MemoryTest, thatIsTooSmallIsFoundBeforeAKeyIsGenerated) {
    const host::CardFailure full = failureIn([&] { checkKeySize(tokenWith(65536, 1151), "2048"); });
    EXPECT_EQ(full.status, ExitStatus::Failed);
    EXPECT_EQ(full.reason, "it has 1151 bytes left for private objects, and the key pair takes at least 1152");
    EXPECT_THAT(full.remedy, HasSubstr("p11host remove"));
    EXPECT_THAT(failureIn([&] { checkKeySize(tokenWith(255, 65536), "2048"); }).reason, HasSubstr("public objects"));
    checkKeySize(tokenWith(256, 1152), "2048");
    checkKeySize(tokenWith(128, 576), "1024");
}

TEST_F(MemoryTest, thatIsTooSmallIsFoundBeforeAKeyIsImported) {
    const std::optional<std::string> bytes = host::fromHexadecimal(kRsa2048Exponent65537.pkcs8);
    ASSERT_TRUE(bytes);
    const host::x509::PrivateKey key = host::x509::PrivateKey::read(
        {reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size()}, "the key", [] { return WipedBytes(); });
    EXPECT_THAT(failureIn([&] { checkImport(tokenWith(65536, 1151), key); }).reason, HasSubstr("private objects"));
    EXPECT_THAT(failureIn([&] { checkImport(tokenWith(255, 65536), key); }).reason, HasSubstr("public objects"));
    checkImport(tokenWith(256, 1152), key);
}

TEST_F(MemoryTest, thatTheTokenDoesNotTellIsBelievedToBeEnough) {
    requireMemory(tokenWith(kUnknown, kUnknown), {"a key", 4096, 4096});
    requireMemory(tokenWith(0, 0, 0), {"a key", 4096, 4096});
    EXPECT_THAT(failureIn([&] {
                    requireMemory(tokenWith(0, 0, kUnknown), {"a key", 1, 0});
                }).reason,
                HasSubstr("it has 0 bytes left"));
}

} // namespace
} // namespace tests
