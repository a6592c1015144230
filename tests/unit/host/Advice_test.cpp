// What a person reads about a failure: by the script, the PKCS #11 result and the circumstances.
#include "host/plugin/Advice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cryptoki/ResultNames.h"
#include "host/plugin/ClientCodes.h"
#include "ry/rylog.h"

namespace host {
namespace {

using ::testing::HasSubstr;

std::string adviceText(unsigned int code, const Circumstances& circumstances) {
    const Advice advice = adviceFor(code, circumstances);
    return advice.result + ": " + advice.meaning + ". " + advice.remedy;
}

struct Case {
    unsigned int code;
    const char* script;
    FailedCall call;
    const char* expected; ///< result, meaning and the beginning of the remedy
};

class EachAdvice : public ::testing::TestWithParam<Case> {};

TEST_P(EachAdvice, namesTheResultAndSaysWhatToDo) {
    const Case& given = GetParam();
    EXPECT_THAT(adviceText(given.code, {.script = given.script, .failures = {{given.call}, ""}}),
                HasSubstr(given.expected));
}

INSTANTIATE_TEST_SUITE_P(
    Results, EachAdvice,
    ::testing::Values(
        Case{33013,
             "authenticate",
             {"authenticate", "C_Login", 0x102},
             "CKR_USER_PIN_NOT_INITIALIZED: no user PIN is set. Run \"initAuthenticator\""},
        Case{
            33013,
            "writeData",
            {"writeCertificate", "C_CreateObject", 0x103},
            "CKR_USER_TYPE_INVALID: the token does not let the user do this. On such a card only the security officer"},
        Case{33013,
             "authenticate",
             {"authenticate", "openSession", 0xE2},
             "CKR_TOKEN_WRITE_PROTECTED: the token is read-only. Only \"readData\""},
        Case{33013,
             "generateKeyPair",
             {"generateKeyPair", "C_GenerateKeyPair", 0x70},
             "CKR_MECHANISM_INVALID: the token makes no RSA keys itself. Make the key elsewhere"},
        Case{33013,
             "signData",
             {"signData", "C_SignInit", 0x70},
             "CKR_MECHANISM_INVALID: the token does not offer this mechanism."},
        Case{33013,
             "signData",
             {"signData", "C_FindObjectsInit", 0x90},
             "CKR_OPERATION_ACTIVE: a search, or another operation, is still open. Run it again"},
        Case{33013,
             "signData",
             {"signData", "C_SignInit", 0x80000001},
             "result 0x80000001: the module refused the call C_SignInit. Run it again with"},
        Case{33029,
             "writeData",
             {"writeCertificate", "C_CreateObject", 0xD0},
             "CKR_TEMPLATE_INCOMPLETE: the certificate needs more attributes: SUBJECT is missing. Give SUBJECT=hex:"},
        Case{33029,
             "writeData",
             {"writeKey", "C_CreateObject", 0xD0},
             "CKR_TEMPLATE_INCOMPLETE: attributes are missing"},
        Case{33017,
             "init",
             {"initToken", "C_InitToken", 0x07},
             "CKR_ARGUMENTS_BAD: a PIN that this script needs was not given"},
        Case{33017,
             "writeData",
             {"writeContainerName", "C_SetAttributeValue", 0x12},
             "CKR_ATTRIBUTE_TYPE_INVALID: the token does not keep the name of a container. The name goes into a"},
        Case{33030,
             "writeData",
             {"writeContainerName", "C_SetAttributeValue", 0xD1},
             "CKR_TEMPLATE_INCONSISTENT: the token does not keep the name of a container."},
        Case{33017,
             "writeData",
             {"writeCertificate", "C_CreateObject", 0x12},
             "CKR_ATTRIBUTE_TYPE_INVALID: the token does not know one of the attributes."},
        Case{33002,
             "getAuthenticatorState",
             {"getAuthenticatorState", "C_OpenSession", 0xE1},
             "CKR_TOKEN_NOT_RECOGNIZED: the token is blank, or this module does not know it. Run \"init\""},
        Case{33002,
             "getPlatformIdentifiers",
             {"getPlatformIdentifiers", "C_GetTokenInfo", 0xE1},
             "CKR_TOKEN_NOT_RECOGNIZED: the token is not recognised. Check that the card is put in"},
        Case{33015,
             "writeData",
             {"writeCertificate", "C_CreateObject", 0x05},
             "CKR_GENERAL_ERROR: general failure of the module. Is such an object there already"},
        Case{33015,
             "signData",
             {"signData", "C_Sign", 0x05},
             "CKR_GENERAL_ERROR: general failure of the module. Some modules answer this to DATA that does not fit"},
        Case{33006,
             "init",
             {"initToken", "C_InitToken", 0xA0},
             "CKR_PIN_INCORRECT: the security officer's PIN is wrong. Nothing was changed."},
        Case{33006,
             "changeAuthenticator",
             {"changeAuthenticator", "C_SetPIN", 0xA1},
             "CKR_PIN_INVALID: the token refuses the new PIN."},
        Case{33016,
             "authenticate",
             {"authenticate", "C_Login", 0x06},
             "CKR_FUNCTION_FAILED: the token refused the login, though the PIN may be right."},
        Case{33023,
             "deauthenticate",
             {"deauthenticate", "C_GetSessionInfo", 0xB3},
             "CKR_SESSION_HANDLE_INVALID: there is no session, so nobody is logged in. Nothing has to be done."},
        Case{
            33012,
            "recycle",
            {"initToken", "C_InitToken", 0x54},
            "CKR_FUNCTION_NOT_SUPPORTED: the module does not initialise tokens. Initialise or empty this token with"}));

TEST(Advice, inAJobAPinThatWasRightMayHaveBeenChangedElsewhere) {
    const Failures failures = {{{"loginAsUser", "C_Login", 0xA0}, {"signData", "login", 0xA0}}, ""};
    EXPECT_THAT(adviceText(33006, {.script = "signData", .isInJob = true, .failures = failures}),
                HasSubstr("If another program has changed it meanwhile, end this job"));
    EXPECT_THAT(adviceText(33006, {.script = "signData", .failures = failures}),
                HasSubstr("the PIN is wrong. Do not guess"));
}

TEST(Advice, inAJobAnOpenSearchEndsWithItsSession) {
    EXPECT_THAT(adviceText(33013, {.script = "signData",
                                   .isInJob = true,
                                   .failures = {{{"signData", "C_FindObjectsInit", 0x90}}, ""}}),
                HasSubstr("Put \"terminate\" and \"initialize\" before this step"));
}

TEST(Advice, aReaderIsUnknownWhenTheModuleListsNone) {
    const FailedCall unknown = {"getPlatformIdentifiers", "C_GetTokenInfo", 0x03};
    const Failures noList = {{{"getSlotVector", "C_GetSlotList", 0x05}, unknown}, ""};
    EXPECT_THAT(adviceText(33001, {.script = "getPlatformIdentifiers", .failures = noList}),
                HasSubstr("CKR_GENERAL_ERROR: the module did not list its readers: it refused the call C_GetSlotList. "
                          "No reader can be found before"));
    EXPECT_THAT(adviceText(33001, {.script = "getPlatformIdentifiers", .failures = {{unknown}, ""}}),
                HasSubstr("CKR_SLOT_ID_INVALID: there is no such slot. Name a reader"));
}

TEST(Advice, theCallThatDecidedTheAnswerIsNamed) {
    // A logout behind a failed login is no cause, and a step hands on what its call answered.
    const Failures withLogout = {{{"changeAuthenticator", "C_Login", 0x06}, {"changeAuthenticator", "C_Logout", 0x101}},
                                 ""};
    EXPECT_EQ(adviceFor(33016, {.script = "changeAuthenticator", .failures = withLogout}).result,
              "CKR_FUNCTION_FAILED");
    const Failures handedOn = {{{"loginAsUser", "C_Login", 0x06}, {"signData", "login", 0x06}}, ""};
    EXPECT_THAT(adviceText(33016, {.script = "signData", .failures = handedOn}),
                HasSubstr("the token refused the login"));
    const Failures noPin = {{{"signData", "login", 0x06}}, ""};
    EXPECT_THAT(adviceText(33016, {.script = "signData", .failures = noPin}), HasSubstr("no user PIN was given"));
}

TEST(Advice, whatThePlugInFoundItselfHasNoResult) {
    const Failures failures = {{{"signData", "C_Logout", 0x101}}, "PIN is missing"};
    EXPECT_EQ(adviceFor(33011, {.script = "signData", .failures = failures}).result, "");
    const Advice bad = adviceFor(33004, {.script = "signData", .failures = failures});
    EXPECT_EQ(bad.result, "");
    EXPECT_EQ(bad.meaning, "parameter PIN is missing");
}

TEST(Advice, withoutATraceTheCodeIsExplained) {
    for (unsigned int code = 33001; code <= 33030; ++code) {
        const Advice advice = adviceFor(code, {.script = "init"});
        EXPECT_EQ(advice.result, "");
        EXPECT_EQ(advice.meaning, clientCode(code).meaning);
        EXPECT_EQ(advice.remedy, clientCode(code).advice);
    }
}

TEST(Advice, aSilentFailureIsThatOfTheLastCall) {
    const Advice advice =
        adviceForSilence({.script = "signData", .failures = {{{"signData", "C_SignInit", 0x68}}, ""}});
    EXPECT_EQ(advice.result, "CKR_KEY_FUNCTION_NOT_PERMITTED");
    EXPECT_EQ(adviceForSilence({.script = "signData"}).meaning, "the plug-in reports success but gave no result");
}

TEST(FailureNotes, everyFormOfALineIsRead) {
    for (const char* line :
         {"PKCS11Client::initToken : C_InitToken 0x07 : failed", "PKCS11Client::initToken: C_InitToken 0x07 : failed",
          "PKCS11Client::initToken : C_InitToken failed 0x7",
          "PKCS11Client::initToken : C_InitToken publick key 0x07 : failed, retry with CKA_MODULUS_BITS "}) {
        const std::optional<FailedCall> call = readFailedCall(line);
        ASSERT_TRUE(call) << line;
        EXPECT_EQ(call->method, "initToken");
        EXPECT_EQ(call->function, "C_InitToken");
        EXPECT_EQ(call->result, 7U);
    }
    for (const char* line :
         {"", "PKCS11Client::", "PKCS11Client::x: y", "zel-coe-pkcs11::newInstanceLoadLibrary m : failed",
          "PKCS11Client::x : C_Login 0x : failed", "PKCS11Client::x 0x07 : failed",
          "PKCS11Client::getSlotVector: <-- ulSlotCount=0x1"}) {
        EXPECT_FALSE(readFailedCall(line)) << line;
    }
}

TEST(FailureNotes, aRefusedParameterIsNamedWithoutItsValue) {
    EXPECT_EQ(readRefusedParameter("PKCS11Client::init: INIT_KEYID parameter not found"), "INIT_KEYID is missing");
    EXPECT_EQ(readRefusedParameter("PKCS11Client::x: Bad parameter PINID: 1234"), "PINID is bad");
    EXPECT_EQ(readRefusedParameter("PKCS11Client::x: Bad parameter PIN"), "PIN is bad");
    for (const char* line :
         {"PKCS11Client::x: Bad parameter : pOpParams=NULL", "PKCS11Client::x : no PIN Found", "elsewhere"}) {
        EXPECT_EQ(readRefusedParameter(line), std::nullopt) << line;
    }
}

TEST(FailureNotes, failuresAreNotedWhileItLivesAndBounded) {
    FailureNotes notes;
    for (int i = 0; i < 1000; ++i) {
        rylogLog(L"m", 1, L"PKCS11Client::x : C_Logout 0x%02x : failed", 0x101);
    }
    rylogLog(L"m", 1, L"PKCS11Client::x : C_Login 0x%02x : failed", 0xA0);
    EXPECT_LE(notes.failures().calls.size(), 32U) << "a logout may be tried again without end";
    EXPECT_EQ(notes.failures().calls.back().function, "C_Login");
    notes.clear();
    EXPECT_TRUE(notes.failures().calls.empty());
}

TEST(ResultNames, areThoseOfTheStandard) {
    EXPECT_EQ(cryptoki::resultName(0), "CKR_OK");
    EXPECT_EQ(cryptoki::resultName(0xA0), "CKR_PIN_INCORRECT");
    EXPECT_EQ(cryptoki::resultName(0x200), "CKR_FUNCTION_REJECTED");
    EXPECT_EQ(cryptoki::resultName(0x203), "CKR_KEY_EXHAUSTED");
    EXPECT_EQ(cryptoki::resultName(0x80000001), "result 0x80000001");
}

} // namespace
} // namespace host
