// Modules that answer what no honest module would.

#include "ry/rylog.h"
#include "tests/faults/Hostile.h"

namespace Faults {

namespace {

using Fake::Function;
using Fake::Module;

constexpr CK_ULONG kAllOnes = static_cast<CK_ULONG>(-1);
constexpr CK_ULONG kHuge = kAllOnes / 4;
const std::vector<Output> kNone = {};

struct Case {
    std::string name;
    std::string story;
    std::function<void(Module&)> hostility;
    std::string error;
    std::optional<std::vector<Output>> outputs = std::nullopt; ///< besides "ERROR", where they matter
};

void PrintTo(const Case& hostile, std::ostream* out) {
    *out << hostile.name;
}

using Hostility = std::function<void(Module&)>;

/// Success, and nothing written: always, or from the call after the first `honest` ones.
Hostility silent(Function function, unsigned honest = 0) {
    return [=](Module& fake) {
        if (honest == 0) {
            fake.answerAlways(function, CKR_OK);
        } else {
            fake.passNext(function, honest);
            fake.answerNext(function, CKR_OK, 1000);
        }
    };
}

Hostility slotCounts(CK_ULONG first, CK_ULONG second) {
    return [=](Module& fake) {
        fake.hook<Function::C_GetSlotList>([=](CK_BBOOL, CK_SLOT_ID* list, CK_ULONG* count) {
            *count = list == nullptr ? first : second;
            if (list != nullptr && first > 0) {
                list[0] = Fake::kSlot;
            }
            return CKR_OK;
        });
    };
}

/// The lengths that C_GetAttributeValue gives for its last attribute, without and with room.
Hostility valueLengths(CK_ULONG first, CK_ULONG second) {
    return [=](Module& fake) {
        fake.hook<Function::C_GetAttributeValue>(
            [=](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG count) {
                for (CK_ULONG i = 0; i < count; ++i) {
                    list[i].ulValueLen = i + 1 < count ? 1 : list[i].pValue == nullptr ? first : second;
                }
                return CKR_OK;
            });
    };
}

Hostility signatureLengths(CK_ULONG first, CK_ULONG second) {
    return [=](Module& fake) {
        fake.hook<Function::C_Sign>([=](CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE* signature, CK_ULONG* length) {
            *length = signature == nullptr ? first : second;
            return CKR_OK;
        });
    };
}

/// What C_FindObjects claims to have found the first time: a count, and a handle unless it is left as it was.
Hostility findings(CK_ULONG count, std::optional<CK_OBJECT_HANDLE> handle) {
    return [=](Module& fake) {
        fake.hook<Function::C_FindObjects>([=, calls = std::make_shared<int>(0)](
                                               CK_SESSION_HANDLE, CK_OBJECT_HANDLE* found, CK_ULONG, CK_ULONG* number) {
            *number = (*calls)++ == 0 ? count : 0;
            if (handle) {
                *found = *handle;
            }
            return CKR_OK;
        });
    };
}

Hostility endlessSearch() {
    return [](Module& fake) {
        // Tens of thousands of calls: nobody listens to them.
        rylogSetReceiver(nullptr, nullptr, 0);
        fake.setRecording(false);
        fake.hook<Function::C_FindObjects>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE* found, CK_ULONG, CK_ULONG* number) {
            *found = 0x101;
            *number = 1;
            return CKR_OK;
        });
        fake.answerAlways(Function::C_DestroyObject, CKR_OK);
        fake.hook<Function::C_GetAttributeValue>(
            [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG count) {
                for (CK_ULONG i = 0; i < count; ++i) {
                    list[i].ulValueLen = 0;
                }
                return CKR_OK;
            });
    };
}

/// Something happens just before the module carries this function out.
template <Function F, class S>
struct Before;
template <Function F, class... Arguments>
struct Before<F, CK_RV(Arguments...)> {
    static void set(Module& fake, const Hostility& event, CK_RV (*CK_FUNCTION_LIST::*member)(Arguments...)) {
        fake.hook<F>([fake, event, member](Arguments... arguments) mutable {
            event(fake);
            return (fake.honest().*member)(arguments...);
        });
    }
};

/// A logout on a session that is gone is refused for ever; here the token gives in at the third try.
void giveInAtLogout(Module& fake) {
    fake.hook<Function::C_Logout>([calls = std::make_shared<int>(0)](CK_SESSION_HANDLE) -> CK_RV {
        return ++*calls < 3 ? CKR_SESSION_HANDLE_INVALID : CKR_OK;
    });
}

void vanish(Module& fake) {
    fake.dropSessions();
}

void pull(Module& fake) {
    fake.removeToken();
}

#define BEFORE(function, event)                                                                                        \
    [](Module& fake) {                                                                                                 \
        Before<Function::function, Fake::Signature<Function::function>>::set(fake, event,                              \
                                                                             &CK_FUNCTION_LIST::function);             \
    }
/// The same in a script that logs out until the token agrees.
#define BEFORE_LOGOUT(function, event)                                                                                 \
    [](Module& fake) {                                                                                                 \
        giveInAtLogout(fake);                                                                                          \
        Before<Function::function, Fake::Signature<Function::function>>::set(fake, event,                              \
                                                                             &CK_FUNCTION_LIST::function);             \
    }

template <std::size_t N>
void fill(CK_UTF8CHAR (&field)[N], std::string_view pattern) {
    for (std::size_t i = 0; i < N; ++i) {
        field[i] = static_cast<CK_UTF8CHAR>(pattern[i % pattern.size()]);
    }
}

Hostility description(const std::string& pattern) {
    return [pattern](Module& fake) {
        CK_SLOT_INFO info = fake.slotInfo(Fake::kSlot);
        fill(info.slotDescription, pattern);
        fill(info.manufacturerID, pattern);
        fake.setSlotInfo(Fake::kSlot, info);
    };
}

Hostility tokenTexts(const std::string& pattern) {
    return [pattern](Module& fake) {
        CK_TOKEN_INFO info = fake.tokenInfo();
        fill(info.label, pattern);
        fill(info.model, pattern);
        fill(info.serialNumber, pattern);
        fake.setTokenInfo(Fake::kSlot, info);
    };
}

std::string repeated(const std::string& text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

Hostility sessionState(CK_STATE state) {
    return [state](Module& fake) { fake.setSessionState(state); };
}

std::vector<Output> readers(const std::string& value) {
    return {{"READERS", 4, 0, value}};
}
std::vector<Output> identifiers(const std::string& serial, const std::string& label) {
    return {{"SMOTYPE", 4, 0, "50313147454E45524943"}, {"SMOID", 4, 0, serial}, {"LABEL", 4, 0, label}};
}
std::vector<Output> certificate(const std::string& value) {
    return {{"COUNT", 2, 1, "1"}, {"DATA1", 1, 2, value}};
}
const std::vector<Output> kUncounted = {{"COUNT", 2, 1, "0"}};
std::vector<Output> state(const std::string& value) {
    return {{"AUTHSTATE", 0, 1, value}};
}

const char* const kCertificates = "Read1CertificatesNoSession";
const char* const kKeys = "Read1PublicKeysNoSession";
const char* const kGenerate = "GenerateKeyPairNoSession";
const char* const kSign = "SignUserLoggedIn";

std::vector<Case> silentCases() {
    return {
        {"slotCountNotWritten", "OneReader", silent(Function::C_GetSlotList), "0", readers("")},
        {"slotsNotWritten", "OneReader", silent(Function::C_GetSlotList, 1), "80e9", kNone},
        {"slotInfoNotWritten", "OneReader", silent(Function::C_GetSlotInfo), "0", readers("")},
        {"tokenInfoNotWritten", "KnownReader", silent(Function::C_GetTokenInfo), "0", identifiers("", "")},
        {"tokenInfoOfStateNotWritten", "StateOfUserWithoutSession", silent(Function::C_GetTokenInfo), "0", state("2")},
        {"sessionNotWritten", "SignNoSession", silent(Function::C_OpenSession), "80ff", kNone},
        {"sessionNotWrittenForReading", kCertificates, silent(Function::C_OpenSession), "80ff", kNone},
        {"sessionInfoNotWritten", "StateOfUserLoggedIn", silent(Function::C_GetSessionInfo), "0", state("2")},
        {"sessionInfoNotWrittenInLogin", kSign, silent(Function::C_GetSessionInfo), "0"},
        {"findingNotWrittenForSigning", kSign, silent(Function::C_FindObjects), "80f3", kNone},
        {"findingNotWrittenForReading", kCertificates, silent(Function::C_FindObjects), "0", kUncounted},
        {"findingNotWrittenForRemoval", "RemoveCertificateNoSession", silent(Function::C_FindObjects), "80f3", kNone},
        {"findingNotWrittenForContainer", "NameContainerNoSession", silent(Function::C_FindObjects), "80f3", kNone},
        {"valueNotWritten", kCertificates, silent(Function::C_GetAttributeValue), "0", certificate("")},
        {"modulusNotWritten", kGenerate, silent(Function::C_GetAttributeValue), "0",
         std::vector<Output>{{"MODULUS", 1, 2, ""}}},
        {"signatureNotWritten", kSign, silent(Function::C_Sign), "0", std::vector<Output>{{"SIGNEDDATA", 1, 2, ""}}},
        {"objectNotWritten", "WriteCertificateNoSession", silent(Function::C_CreateObject), "0", kNone},
        {"keysNotWritten", kGenerate, silent(Function::C_GenerateKeyPair), "80f5", kNone},
        {"loginThatDoesNothing", kGenerate, silent(Function::C_Login), "80f0", kNone},
        {"removalThatDoesNothing", "RemoveCertificateNoSession", silent(Function::C_DestroyObject), "0", kNone},
    };
}

std::vector<Case> countCases() {
    const std::string reader = Conformance::kReaderHex;
    return {
        {"slotCountGrows", "OneReader", slotCounts(1, 1000), "0", readers(reader)},
        {"slotCountGrowsToAllOnes", "OneReader", slotCounts(1, kAllOnes), "0", readers(reader)},
        {"slotCountShrinks", "OneReader", slotCounts(3, 1), "0", readers(reader)},
        {"slotCountShrinksToNothing", "OneReader", slotCounts(3, 0), "0", readers("")},
        {"slotCountIsAllOnes", "OneReader", slotCounts(kAllOnes, 1), "0", readers("")},
        {"slotCountIsHuge", "OneReader", slotCounts(kHuge, 1), "0", readers("")},
        {"slotCountIsBeyondReason", "OneReader", slotCounts((1U << 16U) + 1, 1), "0", readers("")},
        {"lookupAmongAllOnes", "FirstReader", slotCounts(kAllOnes, 1), "80e9", kNone},
        {"moreFoundThanAskedFor", kSign, findings(1000, 0x101), "0"},
        {"allOnesFound", kSign, findings(kAllOnes, 0x101), "0"},
        {"moreFoundThanAskedForWhenReading", kCertificates, findings(kAllOnes, 0x101), "0", certificate("MIIAAQ==")},
        {"moreFoundThanAskedForWhenRemoving", "RemoveCertificateNoSession", findings(kHuge, 0x101), "0", kNone},
        {"foundWithoutHandle", kSign, findings(1, std::nullopt), "80f3", kNone},
        {"foundWithoutHandleForContainer", "NameContainerNoSession", findings(1, std::nullopt), "80f3", kNone},
        {"foundWithoutHandleWhenReading", kCertificates, findings(1, std::nullopt), "80f5", kUncounted},
        {"foundWithoutHandleWhenRemoving", "RemoveCertificateNoSession", findings(1, std::nullopt), "80f5", kNone},
        {"foundAllOnes", kSign, findings(1, kAllOnes), "80fb", kNone},
        {"searchNeverEndsWhenReading", kCertificates, endlessSearch(), "80f7"},
        {"searchNeverEndsWhenReadingKeys", kKeys, endlessSearch(), "80f7"},
        {"searchNeverEndsWhenRemoving", "RemoveCertificateNoSession", endlessSearch(), "80f7", kNone},
    };
}

std::vector<Case> lengthCases() {
    std::vector<Case> cases = {
        {"valueShrinks", kCertificates, valueLengths(4, 0), "0", certificate("")},
        {"valueIsEmpty", kCertificates, valueLengths(0, 0), "0", certificate("")},
        {"signatureShrinks", kSign, signatureLengths(16, 3), "0", std::vector<Output>{{"SIGNEDDATA", 1, 2, "AAAA"}}},
        {"signatureIsEmpty", kSign, signatureLengths(0, 0), "0", std::vector<Output>{{"SIGNEDDATA", 1, 2, ""}}},
        {"signatureLengthOfOwnLoginIsNone", "SignNoSession", signatureLengths(kAllOnes, 1), "0", kNone},
    };
    struct Lengths {
        const char* name;
        CK_ULONG first;
        CK_ULONG second;
        const char* error;
    };
    const Lengths kLengths[] = {{"None", kAllOnes, 1, "80f7"},
                                {"NoneInTheSecondPass", 4, kAllOnes, "80f7"},
                                {"Grows", 4, 5, "80f7"},
                                {"GrowsFromNothing", 0, 1, "80f7"},
                                {"GrowsToHuge", 4, kHuge, "80f7"},
                                {"Huge", kHuge, 1, "80f6"},
                                {"AlmostAllOnes", kAllOnes - 1, 1, "80f6"},
                                {"BeyondReason", (64U << 20U) + 1, 1, "80f6"}};
    for (const Lengths& lengths : kLengths) {
        const auto add = [&](const std::string& what, const char* story, const std::vector<Output>& outputs) {
            const bool isSignature = what == "signature";
            cases.push_back({what + "Length" + lengths.name, story,
                             isSignature ? signatureLengths(lengths.first, lengths.second)
                                         : valueLengths(lengths.first, lengths.second),
                             lengths.error, outputs});
        };
        add("certificate", kCertificates, kUncounted);
        add("exponent", kKeys, kUncounted);
        add("modulus", kGenerate, kNone);
        add("signature", kSign, kNone);
    }
    return cases;
}

std::vector<Case> textCases() {
    return {
        {"descriptionWithoutEnd", "OneReader", description("A"), "0", readers(repeated("41", 64))},
        {"descriptionNotUtf8", "OneReader", description("\xFF"), "0", readers(repeated("FF", 64))},
        {"descriptionCutInACharacter", "OneReader", description("A\xF0\x9F\x98"), "0",
         readers(repeated("41F09F98", 16))},
        {"descriptionOfHalfCharacters", "OneReader", description("\xED\xA0\x80 "), "0",
         readers(repeated("EDA08020", 15) + "EDA080")},
        {"descriptionOverlong", "OneReader", description("\xC0\x80"), "0", readers(repeated("C080", 32))},
        {"descriptionOfZeros", "OneReader", description(std::string(1, '\0')), "0", readers("")},
        {"tokenTextsWithoutEnd", "KnownReader", tokenTexts("B"), "0",
         identifiers(repeated("42", 16), repeated("42", 32))},
        {"tokenTextsNotUtf8", "KnownReader", tokenTexts("\xFE\x80"), "0",
         identifiers(repeated("FE80", 8), repeated("FE80", 16))},
        {"tokenTextsOfZeros", "KnownReader", tokenTexts(std::string(1, '\0')), "0", identifiers("", "")},
        {"unknownStateAskedFor", "StateOfUserLoggedIn", sessionState(9), "80ed", kNone},
        {"unknownStateWhenChanging", "ChangeOfUserPinOnPublicSession", sessionState(5), "80ed", kNone},
        {"unknownStateWhenLoggingOut", "LogoutOfUser", sessionState(kAllOnes), "80ed", kNone},
        {"unknownStateWhenSigning", kSign, sessionState(kAllOnes), "0"},
        {"allTokenFlags", "StateOfUserLoggedIn", [](Module& fake) { fake.setTokenFlags(Fake::kSlot, kAllOnes); }, "0",
         std::vector<Output>{{"AUTHSTATE", 0, 1, "3"}, {"LEFTPINTRY", 2, 1, "1"}}},
    };
}

std::vector<Case> handleCases() {
    const auto session = [](CK_SESSION_HANDLE handle) {
        return [handle](Module& fake) { fake.setNextSessionHandle(handle); };
    };
    const auto object = [](CK_OBJECT_HANDLE handle) {
        return [handle](Module& fake) { fake.setNextObjectHandle(handle); };
    };
    const auto written = [](CK_SESSION_HANDLE handle) {
        return [handle](Module& fake) {
            fake.hook<Function::C_OpenSession>(
                [handle](CK_SLOT_ID, CK_FLAGS, CK_VOID_PTR, CK_NOTIFY, CK_SESSION_HANDLE* result) {
                    *result = handle;
                    return CKR_OK;
                });
        };
    };
    return {
        {"sessionHandleZero", "SignNoSession", session(0), "0"},
        {"sessionHandleAlmostAllOnes", "SignNoSession", session(kAllOnes - 1), "0"},
        {"sessionHandleOfManyBits", "WriteCertificateNoSession", session(kAllOnes / 2 + 2), "0", kNone},
        {"sessionHandleAllOnes", "SignNoSession", written(kAllOnes), "80ff", kNone},
        {"sessionHandleUnknown", kCertificates, written(0x99), "80ff", kNone},
        {"objectHandleAlmostAllOnes", kGenerate, object(kAllOnes - 3), "0"},
        {"objectHandleOfManyBits", kGenerate, object(kAllOnes / 2 + 2), "0"},
        {"objectHandleOfCertificateOfManyBits", "WriteCertificateNoSession", object(kAllOnes - 1), "0", kNone},
    };
}

std::vector<Case> vanishCases() {
    return {
        {"sessionGoneBeforeFind", kCertificates, BEFORE(C_FindObjects, vanish), "80ff", kUncounted},
        {"sessionGoneBeforeValue", kCertificates, BEFORE(C_GetAttributeValue, vanish), "80ff", kUncounted},
        {"sessionGoneBeforeEndOfSearch", kKeys, BEFORE(C_FindObjectsFinal, vanish), "80ff"},
        {"sessionGoneBeforeGenerating", kGenerate, BEFORE(C_GenerateKeyPair, vanish), "80ff", kNone},
        {"sessionGoneBeforeModulus", kGenerate, BEFORE(C_GetAttributeValue, vanish), "80ff", kNone},
        {"sessionGoneBeforeLogoutOfGenerating", kGenerate, BEFORE(C_Logout, vanish), "80ff"},
        {"sessionGoneBeforeLogin", "LoginOfUser", BEFORE(C_Login, vanish), "80ff", kNone},
        {"sessionGoneBeforeChange", "ChangeOfUserPin", BEFORE(C_SetPIN, vanish), "80ff", kNone},
        {"sessionGoneBeforeFirstPin", "FirstPin", BEFORE(C_InitPIN, vanish), "80ff", kNone},
        {"sessionGoneBeforeLogoutOfOfficer", "Unlock", BEFORE(C_Logout, vanish), "80ff", kNone},
        {"sessionGoneBeforeStateIsAsked", "StateOfUserWithoutSession", BEFORE(C_GetSessionInfo, vanish), "80ff", kNone},
        {"sessionGoneBeforeItsClose", "StateOfUserWithoutSession", BEFORE(C_CloseSession, vanish), "80ff", state("2")},
        {"sessionGoneBeforeDeauthentication", "LogoutOfUser", BEFORE(C_Logout, vanish), "80ff", kNone},
        {"sessionGoneBeforeCloseOfInit", "InitWhileUserIsIn", BEFORE(C_CloseSession, vanish), "80ff", kNone},
        {"sessionGoneBeforeCertificate", "WriteCertificateNoSession", BEFORE_LOGOUT(C_CreateObject, vanish), "80ff",
         kNone},
        {"sessionGoneBeforeSearchOfPair", "WriteKeyPairNoSession", BEFORE_LOGOUT(C_FindObjectsInit, vanish), "80ff",
         kNone},
        {"sessionGoneBeforeRemoval", "RemoveCertificateNoSession", BEFORE_LOGOUT(C_DestroyObject, vanish), "80ff",
         kNone},
        {"sessionGoneBeforeContainer", "NameContainerNoSession", BEFORE_LOGOUT(C_SetAttributeValue, vanish), "80ff",
         kNone},
        {"sessionGoneBeforeSignature", "SignNoSession", BEFORE_LOGOUT(C_Sign, vanish), "0", kNone},
        {"sessionGoneBeforeSignatureOfUser", kSign, BEFORE(C_Sign, vanish), "80ff", kNone},
        {"tokenPulledBeforeSession", kCertificates, BEFORE(C_OpenSession, pull), "80eb", kNone},
        {"tokenPulledBeforeFind", kCertificates, BEFORE(C_FindObjects, pull), "80ff", kUncounted},
        {"tokenPulledBeforeIdentifiers", "KnownReader", BEFORE(C_GetTokenInfo, pull), "80eb", kNone},
        {"tokenPulledBeforeLastTry", "UnlockWithWrongKeyAtLastTry", BEFORE(C_GetTokenInfo, pull), "80ee", kNone},
        {"tokenPulledBeforeInit", "Init", BEFORE(C_InitToken, pull), "80eb", kNone},
        {"tokenPulledBeforeGenerating", kGenerate, BEFORE(C_GenerateKeyPair, pull), "80ff", kNone},
        {"tokenPulledBeforeState", "StateOfUserLoggedIn", BEFORE(C_GetTokenInfo, pull), "80eb", kNone},
        {"tokenPulledBeforeLogin", "LoginOfOfficer", BEFORE(C_Login, pull), "80ff", kNone},
        {"tokenPulledBeforeCertificate", "WriteCertificateNoSession", BEFORE_LOGOUT(C_CreateObject, pull), "80ff",
         kNone},
        {"tokenPulledBeforeRemoval", "RemoveCertificateUserLoggedIn", BEFORE(C_DestroyObject, pull), "80ff", kNone},
    };
}

class HostileModule : public HostileTest, public ::testing::WithParamInterface<Case> {};

TEST_P(HostileModule, endsInAClearCode) {
    const Story story = storyNamed(GetParam().story);
    setStage(story);
    GetParam().hostility(fake);

    const Conformance::Result result = execute(story.script, story.params);

    expectError(result, GetParam().error);
    if (GetParam().outputs) {
        std::vector<Output> expected = {{"ERROR", 2, 3, GetParam().error}};
        expected.insert(expected.end(), GetParam().outputs->begin(), GetParam().outputs->end());
        expectOutputs(result, expected);
    }
    CK_SLOT_INFO info = fake.slotInfo(Fake::kSlot);
    fill(info.slotDescription, std::string(Fake::kReader) + std::string(64, ' '));
    fake.setSlotInfo(Fake::kSlot, info);
    expectUsable();
}

const auto kNameOfCase = [](const auto& hostile) { return hostile.param.name; };

INSTANTIATE_TEST_SUITE_P(Silent, HostileModule, ::testing::ValuesIn(silentCases()), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Counts, HostileModule, ::testing::ValuesIn(countCases()), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Lengths, HostileModule, ::testing::ValuesIn(lengthCases()), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Texts, HostileModule, ::testing::ValuesIn(textCases()), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Handles, HostileModule, ::testing::ValuesIn(handleCases()), kNameOfCase);
INSTANTIATE_TEST_SUITE_P(Vanishing, HostileModule, ::testing::ValuesIn(vanishCases()), kNameOfCase);

} // namespace

} // namespace Faults
