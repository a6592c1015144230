// What is removed, what stays, and that a script never takes along what nobody asked for.
#include "host/card/KeySteps.h"
#include "host/card/Removal.h"
#include "host/card/TokenSteps.h"
#include "tests/card/CardTest.h"

namespace tests {
namespace {

using Fake::Attributes;
using Fake::Function;
using host::ObjectClass;
using host::ObjectView;
using host::planRemoval;
using host::Removal;
using host::RemovalRequest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

ObjectView object(ObjectClass objectClass, const std::string& id) {
    ObjectView view;
    view.objectClass = objectClass;
    view.id = id;
    return view;
}

RemovalRequest of(const std::string& id, bool certificates = true, bool keys = true) {
    return {id, certificates, keys};
}

std::vector<std::string> scripts(const Removal& removal) {
    std::vector<std::string> shown;
    for (const host::RemovalStep& step : removal.steps) {
        shown.push_back(step.call.shown());
    }
    return shown;
}

const ObjectView kCertificate = object(ObjectClass::Certificate, "\x01");
const ObjectView kPrivate = object(ObjectClass::PrivateKey, "\x01");
const ObjectView kPublic = object(ObjectClass::PublicKey, "\x01");
const ObjectView kSecret = object(ObjectClass::SecretKey, "\x01");
const ObjectView kData = object(ObjectClass::Data, "");
const ObjectView kOther = object(ObjectClass::Certificate, "\x02");

TEST(RemovalPlan, takesTheKeyPairAndTheCertificateOfOneIdentifier) {
    const Removal plan = planRemoval({kCertificate, kPrivate, kPublic, kOther, kData}, of("\x01"));
    EXPECT_THAT(scripts(plan),
                ElementsAre("removeData OBJ_TYPE=CERTIFICATE ID=hex:01", "removeData OBJ_TYPE=KEY_PAIR ID=hex:01"));
    EXPECT_EQ(plan.going.size(), 3U);
    EXPECT_THAT(plan.staying, IsEmpty());
}

TEST(RemovalPlan, takesOneKindAlone) {
    EXPECT_THAT(scripts(planRemoval({kCertificate, kPrivate, kPublic}, of("\x01", true, false))),
                ElementsAre("removeData OBJ_TYPE=CERTIFICATE ID=hex:01"));
    EXPECT_THAT(scripts(planRemoval({kCertificate, kPrivate, kPublic}, of("\x01", false, true))),
                ElementsAre("removeData OBJ_TYPE=KEY_PAIR ID=hex:01"));
}

TEST(RemovalPlan, leavesALonePublicKeyWhoseCertificateIsToStay) {
    const Removal plan = planRemoval({kCertificate, kPublic}, of("\x01", false, true));
    EXPECT_THAT(plan.steps, IsEmpty());
    EXPECT_THAT(plan.going, IsEmpty());
    EXPECT_EQ(plan.staying.size(), 1U);
}

TEST(RemovalPlan, takesALonePublicKeyAloneOrBehindItsCertificate) {
    EXPECT_THAT(scripts(planRemoval({kPublic, kOther}, of("\x01"))), ElementsAre("removeData OBJ_TYPE=ANY ID=hex:01"));
    EXPECT_THAT(scripts(planRemoval({kPublic, kCertificate}, of("\x01"))),
                ElementsAre("removeData OBJ_TYPE=CERTIFICATE ID=hex:01", "removeData OBJ_TYPE=ANY ID=hex:01"));
}

TEST(RemovalPlan, neverTakesASecretKeyAlong) {
    const Removal plan = planRemoval({kPublic, kSecret}, of("\x01"));
    EXPECT_THAT(plan.steps, IsEmpty());
    EXPECT_EQ(plan.staying.size(), 2U);
}

TEST(RemovalPlan, ofAllLeavesDataAndSecretKeys) {
    const RemovalRequest all{std::nullopt, true, true};
    const Removal plan = planRemoval({kCertificate, kPrivate, kPublic, kSecret, kData, kOther}, all);
    EXPECT_THAT(scripts(plan), ElementsAre("removeData OBJ_TYPE=CERTIFICATE", "removeData OBJ_TYPE=KEY_PAIR"));
    EXPECT_EQ(plan.going.size(), 4U);
    EXPECT_EQ(plan.staying.size(), 2U);
}

TEST(RemovalPlan, withoutALoginTakesAPublicKeyForHalfOfAKeyPair) {
    RemovalRequest blind = of("\x01");
    blind.seesPrivateKeys = false;
    EXPECT_THAT(scripts(planRemoval({kPublic, kCertificate}, blind)),
                ElementsAre("removeData OBJ_TYPE=CERTIFICATE ID=hex:01", "removeData OBJ_TYPE=KEY_PAIR ID=hex:01"));
    EXPECT_THAT(scripts(planRemoval({kPublic, kSecret}, blind)), ElementsAre("removeData OBJ_TYPE=KEY_PAIR ID=hex:01"));
    blind.keys = false;
    EXPECT_THAT(scripts(planRemoval({kPublic}, blind)), IsEmpty());
}

class RemovalOnToken : public CardTest {
protected:
    static void add(CK_OBJECT_CLASS objectClass, const char* id) {
        Fake::module().addObject(Attributes().number(CKA_CLASS, objectClass).hex(CKA_ID, id));
    }
};

TEST_F(RemovalOnToken, isCountedByLookingAgain) {
    add(CKO_CERTIFICATE, "01");
    add(CKO_PRIVATE_KEY, "01");
    add(CKO_PUBLIC_KEY, "01");
    add(CKO_CERTIFICATE, "02");
    host::Token& card = token();
    card.login(secretOf(Fake::kUserPin));
    const Removal plan = planRemoval(card.objects(), of("\x01"));
    const host::RemovedCounts counts = removeObjects(card, plan);
    EXPECT_EQ(counts.certificates, 1U);
    EXPECT_EQ(counts.privateKeys, 1U);
    EXPECT_EQ(counts.publicKeys, 1U);
    EXPECT_EQ(Fake::module().objects().size(), 1U);
    EXPECT_EQ(calls("C_Login"), 1U);
}

TEST_F(RemovalOnToken, thatFailsHalfWaySaysWhatWasDone) {
    add(CKO_CERTIFICATE, "01");
    add(CKO_PRIVATE_KEY, "01");
    host::Token& card = token();
    card.login(secretOf(Fake::kUserPin));
    const Removal plan = planRemoval(card.objects(), of("\x01"));
    Fake::module().passNext(Function::C_DestroyObject);
    Fake::module().answerNext(Function::C_DestroyObject, CKR_ACTION_PROHIBITED);
    const host::CardFailure failure = failureIn([&] { static_cast<void>(removeObjects(card, plan)); });
    EXPECT_EQ(failure.result, "CKR_ACTION_PROHIBITED");
    EXPECT_THAT(card.done(), ElementsAre("the certificates with the identifier 01 are removed"));
    EXPECT_THAT(card.open(), ElementsAre("the key pairs with the identifier 01 are removed"));
    EXPECT_THAT(failure.remedy, HasSubstr("The same command removes the rest."));
}

TEST_F(RemovalOnToken, thatTheTokenPretendsIsNoticed) {
    add(CKO_CERTIFICATE, "01");
    host::Token& card = token();
    card.login(secretOf(Fake::kUserPin));
    const Removal plan = planRemoval(card.objects(), of("\x01"));
    Fake::module().answerAlways(Function::C_DestroyObject, CKR_OK);
    const host::CardFailure failure = failureIn([&] { static_cast<void>(removeObjects(card, plan)); });
    EXPECT_THAT(failure.reason, HasSubstr("still there"));
    Fake::module().clearAnswers();
}

class Steps : public CardTest {};

TEST_F(Steps, aDryRunCallsNothingThatWritesOrLogsIn) {
    host::Token& card = token({.isDryRun = true});
    card.login(secretOf(Fake::kUserPin));
    unlockUserPin(card, secretOf(Fake::kSoPin), secretOf("4321"));
    static_cast<void>(generateKey(card, {"\x01", "mine", "2048", {}}));
    for (const char* function : {"C_Login", "C_InitPIN", "C_GenerateKeyPair"}) {
        EXPECT_EQ(calls(function), 0U) << function;
    }
    ASSERT_EQ(card.planned().size(), 3U);
    EXPECT_EQ(card.planned()[0], "authenticate AUTH_TYPE=STATIC PINID=USER PIN=(secret)");
    EXPECT_THAT(card.planned()[2], HasSubstr("generateKeyPair ALGOID=1.2.840.113549.1.1.1 KEYSIZE=2048"));
}

TEST_F(Steps, anInitialisationThatStopsBeforeTheUserPinSaysSo) {
    Fake::module().setTokenInitialized(false);
    host::Token& card = token();
    initialiseToken(card, "fresh", secretOf(Fake::kSoPin));
    EXPECT_EQ(Fake::module().tokenInfo().label[5], ' ');
    EXPECT_EQ(Fake::module().tokenInfo().label[6], ' ') << "filled up with blanks";
    Fake::module().answerNext(Function::C_InitPIN, CKR_DEVICE_ERROR);
    const host::CardFailure failure = failureIn([&] { setUserPin(card, secretOf(Fake::kSoPin), secretOf("4321")); });
    EXPECT_EQ(failure.result, "CKR_DEVICE_ERROR");
    EXPECT_THAT(card.done(), ElementsAre("the token is initialised with the label \"fresh\""));
}

TEST_F(Steps, aNewKeyHasSensibleAttributes) {
    host::Token& card = token();
    card.login(secretOf(Fake::kUserPin));
    const ObjectView made = generateKey(card, {"\x01", "mine", "1024", {true, false}});
    EXPECT_EQ(made.size, 1024U);
    for (const Fake::ObjectState& state : Fake::module().objects()) {
        const Attributes& key = state.attributes;
        EXPECT_EQ(key.booleanOf(CKA_TOKEN), true);
        if (key.numberOf(CKA_CLASS) == CKO_PRIVATE_KEY) {
            EXPECT_EQ(key.booleanOf(CKA_PRIVATE), true);
            EXPECT_EQ(key.booleanOf(CKA_SENSITIVE), true);
            EXPECT_EQ(key.booleanOf(CKA_EXTRACTABLE), false);
            EXPECT_EQ(key.booleanOf(CKA_SIGN), true);
            EXPECT_EQ(key.booleanOf(CKA_DECRYPT), false);
        }
    }
    EXPECT_EQ(failureIn([&] { host::refuseTakenId(card, "\x01"); }).status, host::ExitStatus::Refused);
}

TEST_F(Steps, aContainerIsNamedAndReadBack) {
    Fake::module().addObject(
        Attributes().number(CKA_CLASS, CKO_PRIVATE_KEY).boolean(CKA_PRIVATE, true).hex(CKA_ID, "01"));
    host::Token& card = token();
    card.login(secretOf(Fake::kUserPin));
    nameContainer(card, "\x01", "box");
    EXPECT_EQ(card.objects().front().containerName, "box");
    Fake::module().answerNext(Function::C_SetAttributeValue, CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_THAT(failureIn([&] { nameContainer(card, "\x01", "other"); }).remedy, HasSubstr("the key works without it"));
}

} // namespace
} // namespace tests
