// Which token is meant, by options and by URI.
#include "host/card/TokenChoice.h"
#include "host/plugin/Errors.h"
#include "tests/card/CardTest.h"

namespace tests {
namespace {

using host::CardFailure;
using host::ExitStatus;
using host::Pkcs11Uri;
using host::readUri;
using host::SlotView;
using host::TokenChoice;
using host::TokenView;
using host::WantedToken;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

SlotView slotWith(std::uint64_t id, const std::string& name, const std::string& label, const std::string& serial) {
    SlotView slot;
    slot.id = id;
    slot.name = name;
    slot.token = TokenView();
    slot.token->label = label;
    slot.token->serial = serial;
    slot.token->isInitialised = !label.empty();
    slot.token->hasUserPin = true;
    return slot;
}

SlotView emptySlot(std::uint64_t id, const std::string& name) {
    SlotView slot;
    slot.id = id;
    slot.name = name;
    return slot;
}

TokenChoice byLabel(const std::string& label) {
    TokenChoice choice;
    choice.token = label;
    return choice;
}

TokenChoice byReader(const std::string& reader) {
    TokenChoice choice;
    choice.reader = reader;
    return choice;
}

const std::vector<SlotView> kTwo = {emptySlot(1, "Empty"), slotWith(2, "Left", "alice", "11"),
                                    slotWith(3, "Blank", "", ""), slotWith(4, "Right", "bob", "22")};

TEST(Choice, theOnlyTokenIsMeantWithoutAChoiceAndABlankOneDoesNotCount) {
    const std::vector<SlotView> one = {kTwo[0], kTwo[1], kTwo[2]};
    EXPECT_EQ(chooseToken(one, {}, WantedToken::Initialised), 1U);
    EXPECT_EQ(chooseToken(one, {}, WantedToken::Blank), 2U);
}

TEST(Choice, severalTokensAreRefusedWithTheList) {
    const CardFailure several = failureIn([] { static_cast<void>(chooseToken(kTwo, {}, WantedToken::Initialised)); });
    EXPECT_EQ(several.status, ExitStatus::Usage);
    EXPECT_THAT(several.remedy, HasSubstr("--reader \"Left\"  --token \"alice\"  --serial 11  (ready)"));
    EXPECT_THAT(several.remedy, HasSubstr("--reader \"Right\"  --token \"bob\""));
}

TEST(Choice, labelSerialAndReaderAllHaveToFit) {
    EXPECT_EQ(chooseToken(kTwo, byLabel("bob"), WantedToken::Initialised), 3U);
    TokenChoice both = byLabel("bob");
    both.serial = "11";
    const CardFailure none = failureIn([&] { static_cast<void>(chooseToken(kTwo, both, WantedToken::Initialised)); });
    EXPECT_EQ(none.status, ExitStatus::NoToken);
    EXPECT_THAT(none.remedy, HasSubstr("--token \"alice\""));
    EXPECT_EQ(chooseToken(kTwo, byReader("Left"), WantedToken::Initialised), 1U);
    EXPECT_EQ(
        failureIn([] { static_cast<void>(chooseToken(kTwo, byReader("Empty"), WantedToken::Initialised)); }).status,
        ExitStatus::NoToken);
    EXPECT_EQ(failureIn([] { static_cast<void>(chooseToken({}, {}, WantedToken::Blank)); }).status,
              ExitStatus::NoToken);
}

TEST(Choice, ofReadersWithOneNameTheFirstCanBeChosen) {
    const std::vector<SlotView> twins = {slotWith(1, "R", "a", "1"), slotWith(2, "R", "b", "2")};
    EXPECT_THAT(shownNames(twins), ElementsAre("R#1", "R#2"));
    EXPECT_EQ(chooseToken(twins, byReader("R#1"), WantedToken::Initialised), 0U);
    for (const TokenChoice& choice : {byReader("R#2"), byLabel("b"), byReader("R")}) {
        EXPECT_EQ(failureIn([&] { static_cast<void>(chooseToken(twins, choice, WantedToken::Initialised)); }).status,
                  ExitStatus::Usage);
    }
}

TEST(Choice, aUriNamesAToken) {
    TokenChoice choice;
    choice.uri = readUri("pkcs11:token=bob;serial=22");
    EXPECT_EQ(chooseToken(kTwo, choice, WantedToken::Initialised), 3U);
    choice.uri = readUri("pkcs11:slot-description=Left");
    EXPECT_EQ(chooseToken(kTwo, choice, WantedToken::Initialised), 1U);
    choice.uri = readUri("pkcs11:id=%01?module-path=/a"); // names no token
    EXPECT_EQ(failureIn([&] { static_cast<void>(chooseToken(kTwo, choice, WantedToken::Initialised)); }).status,
              ExitStatus::Usage);
}

TEST(Uri, isTakenApart) {
    const Pkcs11Uri uri = readUri("PKCS11:token=My%20Card;object=a%3Bb;id=%00%ff;type=private?module-path=/m.so&"
                                  "pin-source=file:/etc/pin");
    EXPECT_EQ(uri.token, "My Card");
    EXPECT_EQ(uri.object, "a;b");
    EXPECT_EQ(uri.id, std::string("\0\xFF", 2));
    EXPECT_EQ(uri.type, "private");
    EXPECT_EQ(uri.modulePath, "/m.so");
    EXPECT_EQ(uri.pinSource, "file:/etc/pin");
    EXPECT_FALSE(uri.serial);
    EXPECT_FALSE(readUri("pkcs11:").token);
}

TEST(Uri, isRefusedWhenItIsNotWellFormed) {
    for (const char* text :
         {"", "pkcs11", "http://a", "pkcs11:token", "pkcs11:token=a;token=b", "pkcs11:tokn=a", "pkcs11:token=a b",
          "pkcs11:token=%", "pkcs11:token=%4", "pkcs11:token=%4g", "pkcs11:token=a;", "pkcs11:;token=a",
          "pkcs11:token=a?token=b", "pkcs11:module-path=/m", "pkcs11:type=key", "pkcs11:token=\xC3\xA4",
          "pkcs11:token=a?pin-value=1234", "pkcs11:token=a?pin-source=x&"}) {
        EXPECT_THROW(static_cast<void>(readUri(text)), host::UsageError) << text;
    }
}

TEST(Uri, neverRepeatsAPin) {
    try {
        static_cast<void>(readUri("pkcs11:token=a?pin-value=1234"));
        ADD_FAILURE();
    } catch (const host::UsageError& error) {
        EXPECT_THAT(error.what(), ::testing::Not(HasSubstr("1234")));
        EXPECT_THAT(error.what(), HasSubstr("--pin"));
    }
}

} // namespace
} // namespace tests
