// Removal: every object that a template matches, one class after the other.

#include "tests/conformance/ObjectTest.h"
#include "tests/conformance/Repeated.h"
#include "zel/ClientOperationException.h"

namespace Conformance::RemoveDataTests {

using Fake::Function;

namespace {

const std::string kScript = "removeData";

Params ofType(const std::string& type) {
    return Params().plain("OBJ_TYPE", type);
}

Fake::Attributes object(CK_OBJECT_CLASS objectClass, const std::string& id) {
    return Fake::Attributes().number(CKA_CLASS, objectClass).hex(CKA_ID, id);
}

Trace complaint(const std::string& text) {
    return {{1, "PKCS11Client::removeData: " + text}};
}

Trace loginFailed(const std::string& rv) {
    return {{1, "PKCS11Client::removeData : login " + rv + " : failed"}};
}

Trace searchAnnounced(const std::vector<ShownAttribute>& shown) {
    return sessionCall(kScript, "C_FindObjectsInit", 1) +
           in(kScript, "ulAttCount", static_cast<CK_ULONG>(shown.size())) + dumpedLines(kScript, shown) +
           call(kScript, "C_FindObjectsInit");
}

Trace found(CK_OBJECT_HANDLE handle, int count) {
    return findCall(kScript, 1) + call(kScript, "C_FindObjects") + foundLines(kScript, handle, count);
}

Trace destroyed(CK_OBJECT_HANDLE handle) {
    return sessionCall(kScript, "C_DestroyObject", 1) + in(kScript, "hObject", handle);
}

Trace searchEnded() {
    return sessionCall(kScript, "C_FindObjectsFinal", 1);
}

std::string init(const std::string& entries) {
    return "C_FindObjectsInit(0x1, [" + entries + "])";
}

std::string destroy(const std::string& handle) {
    return "C_DestroyObject(0x1, " + handle + ")";
}

const std::string kFind = "C_FindObjects(0x1, max=1)";
const std::string kFinal = "C_FindObjectsFinal(0x1)";
const std::string kNoTemplate = "C_FindObjectsInit(0x1, null/0)";

} // namespace

class RemoveData : public ObjectTest {
protected:
    /// The whole trace of a removal that finds no session open and logs out at the first try.
    static Trace story(const Params& params, const Trace& body, const std::string& error) {
        return storyOf(kScript, params, loginAsUserTrace(1) + body + logoutTrace(kScript, 1), error);
    }
    /// Refused with 33004 and this one complaint; nothing is looked for.
    void expectRefused(const Params& params, const std::string& text, Where where = Where::current()) {
        fake.restartCallCount();
        expectError(execute(kScript, params), "80ec", where);
        expectTraceAt(1, complaint(text), where);
        EXPECT_EQ(fake.callCount(Function::C_FindObjectsInit), 0U);
        EXPECT_EQ(fake.callCount(Function::C_Logout), 1U);
        forget();
    }
    /// The template of the first search.
    std::string searchedFor(const Params& params) {
        expectError(execute(kScript, params), "80f3");
        for (const std::string& line : calls()) {
            if (line.starts_with("C_FindObjectsInit")) {
                return line;
            }
        }
        return "no search";
    }
    std::vector<CK_OBJECT_HANDLE> left() const {
        std::vector<CK_OBJECT_HANDLE> handles;
        for (const Fake::ObjectState& state : fake.objects()) {
            handles.push_back(state.handle);
        }
        return handles;
    }
};

using Handles = std::vector<CK_OBJECT_HANDLE>;

TEST_F(RemoveData, withoutParametersNothingIsCalled) {
    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kScript, std::nullopt, complaint("Bad parameter : pOpParams=NULL"), result));
}

TEST_F(RemoveData, aFailedLoginEndsIt) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    fake.answerNext(Function::C_Login, CKR_PIN_INCORRECT);
    const Params params = ofType("CERTIFICATE");

    expectOutputs(execute(kScript, params), {errorIs("80ee")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(storyOf(kScript, params, loginAsUserTrace(1, CKR_PIN_INCORRECT) + loginFailed("0xa0"), "80ee"));
}

TEST_F(RemoveData, theScriptReadsItsParametersItself) {
    fake.setUserPin("5678");
    EXPECT_EQ(errorOf(kScript, ofType("ANY").hex("PIN", "35363738")), "80f3");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 35363738)",
                 kNoTemplate, kFind, kFinal, "C_Logout(0x1)"});
}

TEST_F(RemoveData, inAnUnknownStateNobodyIsLoggedInOrOut) {
    fake.setLogin(Fake::Role::User);
    fake.setSessionState(9);
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    const Params params = ofType("CERTIFICATE");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", init("CKA_CLASS=1"), kFind,
                 destroy("0x101"), kFind, kFinal});
    expectTrace(storyOf(kScript, params,
                        entry("loginAsUser") + openSessionTrace(CKF_RW_SESSION, 1) + authenticatedUserTrace(1, 9) +
                            leave("loginAsUser") + searchAnnounced({{CKA_CLASS, numberDump(CKO_CERTIFICATE)}}) +
                            found(0x101, 1) + destroyed(0x101) + found(0, 0) + searchEnded(),
                        "0"));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

TEST_F(RemoveData, threeCertificatesGoWithinOneSearch) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    fake.addObject(object(CKO_CERTIFICATE, "02"));
    fake.addObject(object(CKO_PRIVATE_KEY, "01"));
    fake.addObject(object(CKO_CERTIFICATE, "03"));
    const Params params = ofType("CERTIFICATE");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({init("CKA_CLASS=1"), kFind, destroy("0x101"), kFind, destroy("0x102"), kFind,
                          destroy("0x104"), kFind, kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(CKO_CERTIFICATE)}}) + found(0x101, 1) + destroyed(0x101) +
                          found(0x102, 1) + destroyed(0x102) + found(0x104, 1) + destroyed(0x104) + found(0, 0) +
                          searchEnded(),
                      "0"));
    EXPECT_EQ(left(), Handles{0x103});
}

TEST_F(RemoveData, aKeyPairGoesPrivateKeysFirstThenPublicOnesInAFreshSearch) {
    fake.addObject(object(CKO_PUBLIC_KEY, "01"));
    fake.addObject(object(CKO_PRIVATE_KEY, "01"));
    fake.addObject(object(CKO_PRIVATE_KEY, "02"));
    fake.addObject(object(CKO_PUBLIC_KEY, "01"));
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    const Params params = ofType("KEY_PAIR").hex("ID", "01");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(
        loggedIn({init("CKA_CLASS=3 CKA_ID=01"), kFind, destroy("0x102"), kFind, kFinal, init("CKA_CLASS=2 CKA_ID=01"),
                  kFind, destroy("0x101"), kFind, destroy("0x104"), kFind, kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(CKO_PRIVATE_KEY)}, {CKA_ID, "01"}}) + found(0x102, 1) +
                          destroyed(0x102) + found(0, 0) + searchEnded() +
                          searchAnnounced({{CKA_CLASS, numberDump(CKO_PUBLIC_KEY)}, {CKA_ID, "01"}}) + found(0x101, 1) +
                          destroyed(0x101) + found(0x104, 1) + destroyed(0x104) + found(0, 0) + searchEnded(),
                      "0"));
    EXPECT_EQ(left(), (Handles{0x103, 0x105}));
}

TEST_F(RemoveData, aPairWhosePublicKeyIsMissingIsRemovedAllTheSame) {
    fake.addObject(object(CKO_PRIVATE_KEY, "01"));
    const Params params = ofType("KEY_PAIR");
    expectOutputs(execute(kScript, params), {done()});
    expectCalls(
        loggedIn({init("CKA_CLASS=3"), kFind, destroy("0x101"), kFind, kFinal, init("CKA_CLASS=2"), kFind, kFinal}));
    expectTraceAt(1, {});
}

TEST_F(RemoveData, aPairWhosePrivateKeyIsMissingKeepsItsPublicKey) {
    fake.addObject(object(CKO_PUBLIC_KEY, "01"));
    const Params params = ofType("KEY_PAIR");

    expectOutputs(execute(kScript, params), {errorIs("80f3")});

    expectCalls(loggedIn({init("CKA_CLASS=3"), kFind, kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(CKO_PRIVATE_KEY)}}) + found(0, 0) +
                          complaint("Data Not Found") + searchEnded(),
                      "80f3"));
    EXPECT_EQ(left(), Handles{0x101});
}

TEST_F(RemoveData, anyClassGoesByLabelAlone) {
    fake.addObject(object(CKO_CERTIFICATE, "01").hex(CKA_LABEL, "41"));
    fake.addObject(object(CKO_PRIVATE_KEY, "01").hex(CKA_LABEL, "41"));
    fake.addObject(object(CKO_DATA, "01").hex(CKA_LABEL, "41"));
    fake.addObject(object(CKO_PUBLIC_KEY, "01").hex(CKA_LABEL, "42"));
    const Params params = ofType("ANY").hex("LABEL", "41");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({init("CKA_LABEL=41"), kFind, destroy("0x101"), kFind, destroy("0x102"), kFind,
                          destroy("0x103"), kFind, kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_LABEL, "41"}}) + found(0x101, 1) + destroyed(0x101) + found(0x102, 1) +
                          destroyed(0x102) + found(0x103, 1) + destroyed(0x103) + found(0, 0) + searchEnded(),
                      "0"));
    EXPECT_EQ(left(), Handles{0x104});
}

TEST_F(RemoveData, withoutAnyEntryThereIsNoTemplateAndEverythingGoes) {
    for (const Params& params : {Params(), ofType("ANY"), Params().plain("SOMETHING", "1")}) {
        fake.reset();
        plugin = Executor();
        ASSERT_NO_FATAL_FAILURE(startWithReader(Params().hex("PIN", "31323334")));
        fake.addObject(object(CKO_CERTIFICATE, "01"));
        fake.addObject(object(CKO_PRIVATE_KEY, "02"));

        expectOutputs(execute(kScript, params), {done()});

        expectCalls(loggedIn({kNoTemplate, kFind, destroy("0x101"), kFind, destroy("0x102"), kFind, kFinal}));
        expectTrace(story(params,
                          searchAnnounced({}) + found(0x101, 1) + destroyed(0x101) + found(0x102, 1) +
                              destroyed(0x102) + found(0, 0) + searchEnded(),
                          "0"));
        EXPECT_EQ(left(), Handles{});
    }
}

TEST_F(RemoveData, anObjectTypeInSecondPlaceIsNotLookedAt) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    fake.addObject(object(CKO_PRIVATE_KEY, "01"));
    const Params params = Params().hex("ID", "01").plain("OBJ_TYPE", "CERTIFICATE");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({init("CKA_ID=01"), kFind, destroy("0x101"), kFind, destroy("0x102"), kFind, kFinal}));
}

TEST_F(RemoveData, anUnknownObjectTypeInSecondPlaceIsNoFault) {
    EXPECT_EQ(searchedFor(Params().hex("ID", "01").plain("OBJ_TYPE", "nonsense")), init("CKA_ID=01"));
    EXPECT_EQ(searchedFor(ofType("CERTIFICATE").plain("OBJ_TYPE", "nonsense")), init("CKA_CLASS=1"));
    EXPECT_EQ(searchedFor(ofType("ANY").plain("OBJ_TYPE", "CERTIFICATE")), kNoTemplate);
    EXPECT_EQ(searchedFor(Params().plain("obj_type", "nonsense")), kNoTemplate);
}

TEST_F(RemoveData, anUnknownObjectTypeIsToldAsABadCertificate) {
    for (const std::string type : {"certificate", "PRIVATE_KEY", "PUBLIC_KEY", "CONTAINER_NAME", "", "ANY "}) {
        expectRefused(ofType(type), "Bad parameter CERTIFICATE: " + type);
    }
}

TEST_F(RemoveData, anUnknownObjectTypeIsToldInTheWholeTrace) {
    const Params params = ofType("DATA").plain("CERT_CATEGORY", "never reached");
    expectOutputs(execute(kScript, params), {errorIs("80ec")});
    expectCalls(loggedIn({}));
    expectTrace(story(params, complaint("Bad parameter CERTIFICATE: DATA"), "80ec"));
}

TEST_F(RemoveData, aBadCategoryIsToldAsABadType) {
    for (const std::string category : {"user", "", "AUTHORITY", "2"}) {
        expectRefused(ofType("CERTIFICATE").plain("CERT_CATEGORY", category), "Bad parameter CERT_TYPE: " + category);
    }
    expectRefused(Params().plain("CERT_CATEGORY", "none"), "Bad parameter CERT_TYPE: none");
    expectRefused(ofType("ANY").plain("CERT_CATEGORY", "CA").hex("ID", "01").plain("CERT_CATEGORY", "none"),
                  "Bad parameter CERT_TYPE: none");
}

struct RemovalRow {
    const char* name;
    const char* id;
    const char* value;
    const char* entry; ///< without one: no template at all
};

class RemoveDataKeyword : public RemoveData, public ::testing::WithParamInterface<RemovalRow> {};

TEST_P(RemoveDataKeyword, entersTheTemplateOrNot) {
    const std::string entryText = GetParam().entry;
    EXPECT_EQ(searchedFor(ofType("ANY").plain(GetParam().id, GetParam().value)),
              entryText.empty() ? kNoTemplate : init(entryText));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RemoveDataKeyword,
    ::testing::Values(
        RemovalRow{"Label", "LABEL", "4142", "CKA_LABEL=4142"},
        RemovalRow{"LabelEndsAtTheFirstZeroByte", "LABEL", "410042", "CKA_LABEL=41"},
        RemovalRow{"LabelThatBeginsWithZeroIsAnEmptyEntry", "LABEL", "0041", "CKA_LABEL=empty"},
        RemovalRow{"LabelWithoutText", "LABEL", "", ""},
        RemovalRow{"LabelNotHexadecimalAddsNoEntry", "LABEL", "label", ""},
        RemovalRow{"SubjectKeepsZeroBytes", "SUBJECT", "300000", "CKA_SUBJECT=300000"},
        RemovalRow{"SubjectNotHexadecimal", "SUBJECT", "3", ""}, RemovalRow{"SubjectEmpty", "SUBJECT", "", ""},
        RemovalRow{"IdKeepsZeroBytes", "ID", "00ff", "CKA_ID=00FF"}, RemovalRow{"IdNotHexadecimal", "ID", "zz", ""},
        RemovalRow{"IdEmpty", "ID", "", ""}, RemovalRow{"IssuerKeepsZeroBytes", "ISSUER", "3000", "CKA_ISSUER=3000"},
        RemovalRow{"IssuerNotHexadecimal", "ISSUER", "zz", ""}, RemovalRow{"IssuerEmpty", "ISSUER", "", ""},
        RemovalRow{"SerialNumberKeepsZeroBytes", "SN", "020100", "CKA_SERIAL_NUMBER=020100"},
        RemovalRow{"SerialNumberNotHexadecimal", "SN", "zz", ""}, RemovalRow{"SerialNumberEmpty", "SN", "", ""},
        RemovalRow{"TokenOne", "TOKEN", "1", "CKA_TOKEN=true"},
        RemovalRow{"TokenZero", "TOKEN", "0", "CKA_TOKEN=false"},
        RemovalRow{"TokenTrueIsNotOne", "TOKEN", "true", "CKA_TOKEN=false"},
        RemovalRow{"TokenEmpty", "TOKEN", "", "CKA_TOKEN=false"},
        RemovalRow{"PrivateOne", "PRIVATE", "1", "CKA_PRIVATE=true"},
        RemovalRow{"PrivateZero", "PRIVATE", "0", "CKA_PRIVATE=false"},
        RemovalRow{"ModifiableOne", "MODIFIABLE", "1", "CKA_MODIFIABLE=true"},
        RemovalRow{"ModifiableZero", "MODIFIABLE", "yes", "CKA_MODIFIABLE=false"},
        RemovalRow{"CategoryUser", "CERT_CATEGORY", "USER", "CKA_CERTIFICATE_CATEGORY=1"},
        RemovalRow{"CategoryCa", "CERT_CATEGORY", "CA", "CKA_CERTIFICATE_CATEGORY=2"},
        RemovalRow{"OtherCaseIsAnotherKeyword", "id", "01", ""},
        RemovalRow{"OtherKeywordsAreSkipped", "SENSITIVE", "1", ""}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(RemoveData, entriesStandInTheOrderOfTheRequestBehindTheClass) {
    EXPECT_EQ(searchedFor(ofType("CERTIFICATE")
                              .plain("CERT_CATEGORY", "CA")
                              .plain("MODIFIABLE", "1")
                              .plain("PRIVATE", "0")
                              .plain("TOKEN", "1")
                              .hex("SN", "05")
                              .hex("ISSUER", "04")
                              .hex("ID", "03")
                              .hex("SUBJECT", "02")
                              .hex("LABEL", "01")),
              init("CKA_CLASS=1 CKA_CERTIFICATE_CATEGORY=2 CKA_MODIFIABLE=true CKA_PRIVATE=false CKA_TOKEN=true "
                   "CKA_SERIAL_NUMBER=05 CKA_ISSUER=04 CKA_ID=03 CKA_SUBJECT=02 CKA_LABEL=01"));
}

TEST_F(RemoveData, allTenEntriesAreTraced) {
    const Params params = ofType("CERTIFICATE")
                              .hex("LABEL", "41")
                              .hex("SUBJECT", "42")
                              .hex("ID", "43")
                              .hex("ISSUER", "44")
                              .hex("SN", "45")
                              .plain("TOKEN", "1")
                              .plain("PRIVATE", "0")
                              .plain("MODIFIABLE", "1")
                              .plain("CERT_CATEGORY", "USER");
    expectError(execute(kScript, params), "80f3");
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(1)},
                                       {CKA_LABEL, "41"},
                                       {CKA_SUBJECT, "42"},
                                       {CKA_ID, "43"},
                                       {CKA_ISSUER, "44"},
                                       {CKA_SERIAL_NUMBER, "45"},
                                       {CKA_TOKEN, "01"},
                                       {CKA_PRIVATE, "00"},
                                       {CKA_MODIFIABLE, "01"},
                                       {CKA_CERTIFICATE_CATEGORY, numberDump(1)}}) +
                          found(0, 0) + complaint("Data Not Found") + searchEnded(),
                      "80f3"));
}

TEST_F(RemoveData, aRepeatedKeywordAppendsAnotherEntry) {
    EXPECT_EQ(searchedFor(ofType("CERTIFICATE")
                              .hex("ID", "01")
                              .plain("TOKEN", "1")
                              .hex("LABEL", "41")
                              .hex("ID", "0203")
                              .plain("PRIVATE", "0")
                              .plain("TOKEN", "0")
                              .plain("PRIVATE", "1")
                              .hex("LABEL", "41")),
              init("CKA_CLASS=1 CKA_ID=01 CKA_TOKEN=true CKA_LABEL=41 CKA_ID=0203 CKA_PRIVATE=false CKA_TOKEN=false "
                   "CKA_PRIVATE=true CKA_LABEL=41"));
    EXPECT_EQ(searchedFor(Params().plain("CERT_CATEGORY", "CA").plain("CERT_CATEGORY", "USER")),
              init("CKA_CERTIFICATE_CATEGORY=2 CKA_CERTIFICATE_CATEGORY=1"));
}

TEST_F(RemoveData, tenEntriesFitWithTheClassOrWithoutOne) {
    const std::string nineIds = "CKA_ID=01 CKA_ID=02 CKA_ID=03 CKA_ID=04 CKA_ID=05 CKA_ID=06 CKA_ID=07 CKA_ID=08 "
                                "CKA_ID=09";
    Params ids;
    for (const char* id : {"01", "02", "03", "04", "05", "06", "07", "08", "09"}) {
        ids.hex("ID", id);
    }
    EXPECT_EQ(searchedFor(ofType("CERTIFICATE").append(ids)), init("CKA_CLASS=1 " + nineIds));
    EXPECT_EQ(searchedFor(ofType("ANY").append(ids).plain("TOKEN", "1")), init(nineIds + " CKA_TOKEN=true"));
    EXPECT_EQ(searchedFor(Params(ids).hex("SN", "05")), init(nineIds + " CKA_SERIAL_NUMBER=05"));
}

TEST_F(RemoveData, anEleventhEntryIsABadParameterWhateverItsKeyword) {
    const Params nine = repeated(9, "MODIFIABLE", "1");
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"LABEL", "4142"}, {"SUBJECT", "0a"}, {"ID", "01"},          {"ISSUER", "3000"},     {"SN", "05"},
        {"TOKEN", "1"},    {"PRIVATE", "0"},  {"MODIFIABLE", "yes"}, {"CERT_CATEGORY", "CA"}};
    for (const auto& [id, value] : rows) {
        const std::string text = "Bad parameter " + id + ": " + value;
        const Params last = Params().plain(id, value).hex("SN", "07");
        expectRefused(ofType("CERTIFICATE").append(nine).append(last), text);
        expectRefused(ofType("KEY_PAIR").append(nine).append(last), text);
        expectRefused(ofType("ANY").append(nine).plain("MODIFIABLE", "1").append(last), text);
    }
    expectRefused(ofType("CERTIFICATE").append(nine).plain("CERT_CATEGORY", "none"), "Bad parameter CERT_TYPE: none");
}

TEST_F(RemoveData, anEleventhEntryIsToldInTheWholeTraceAndTheUserIsLoggedOut) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    const Params params = ofType("CERTIFICATE").append(repeated(10, "ID", "01"));

    expectOutputs(execute(kScript, params), {errorIs("80ec")});

    expectCalls(loggedIn({}));
    expectTrace(story(params, complaint("Bad parameter ID: 01"), "80ec"));
    EXPECT_EQ(left(), Handles{0x101});
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(RemoveData, aFullTemplateTakesWhatNeedsNoNewEntry) {
    Params params = ofType("CERTIFICATE").append(repeated(9, "ID", "01"));
    params.hex("LABEL", "").hex("LABEL", "Z").hex("SUBJECT", "4").hex("ID", "").hex("ISSUER", "").hex("SN", "x");
    EXPECT_EQ(searchedFor(params), init("CKA_CLASS=1" + repeatedEntry(9, "CKA_ID=01")));
}

TEST_F(RemoveData, theSecondSweepOfAPairFindsItsClassInAFullTemplate) {
    fake.addObject(object(CKO_PRIVATE_KEY, "01"));
    fake.addObject(object(CKO_PUBLIC_KEY, "01"));
    const std::string ids = repeatedEntry(9, "CKA_ID=01");
    const Params params = ofType("KEY_PAIR").append(repeated(9, "ID", "01"));

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({init("CKA_CLASS=3" + ids), kFind, destroy("0x101"), kFind, kFinal, init("CKA_CLASS=2" + ids),
                          kFind, destroy("0x102"), kFind, kFinal}));
}

TEST_F(RemoveData, manyRepetitionsEndAtTheFirstThatFindsNoRoom) {
    Params params = ofType("KEY_PAIR");
    for (int i = 0; i < 60; ++i) {
        const std::string value = textf("%02X", static_cast<unsigned>(i + 1));
        params.hex("LABEL", value).hex("SUBJECT", value).hex("ID", value).hex("ISSUER", value).hex("SN", value);
        params.plain("TOKEN", "1").plain("PRIVATE", "0").plain("MODIFIABLE", "1").plain("CERT_CATEGORY", "CA");
    }
    expectRefused(params, "Bad parameter LABEL: 02");
}

TEST_F(RemoveData, hexadecimalKeywordsAreTheTextAsItStandsWhateverTheEncoding) {
    EXPECT_EQ(searchedFor(ofType("ANY").base64("ID", "4142").rawText("LABEL", "43")), init("CKA_ID=4142 CKA_LABEL=43"));
}

TEST_F(RemoveData, nothingFoundEndsTheSearchAndSaysSo) {
    const Params params = ofType("CERTIFICATE").hex("ID", "01");
    expectOutputs(execute(kScript, params), {errorIs("80f3")});
    expectCalls(loggedIn({init("CKA_CLASS=1 CKA_ID=01"), kFind, kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(1)}, {CKA_ID, "01"}}) + found(0, 0) +
                          complaint("Data Not Found") + searchEnded(),
                      "80f3"));
    EXPECT_FALSE(fake.sessions().at(0).searchActive);
}

TEST_F(RemoveData, nothingFoundOutweighsASearchThatDoesNotEnd) {
    fake.answerNext(Function::C_FindObjectsFinal, CKR_DEVICE_ERROR);
    const Params params = ofType("CERTIFICATE");
    expectOutputs(execute(kScript, params), {errorIs("80f3")});
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(1)}}) + found(0, 0) + complaint("Data Not Found") +
                          searchEnded() + failed(kScript, "C_FindObjectsFinal", CKR_DEVICE_ERROR),
                      "80f3"));
}

TEST_F(RemoveData, aSearchThatDoesNotBeginEndsIt) {
    fake.answerNext(Function::C_FindObjectsInit, CKR_OPERATION_ACTIVE);
    const Params params = ofType("KEY_PAIR");
    expectOutputs(execute(kScript, params), {errorIs("80f5")});
    expectCalls(loggedIn({init("CKA_CLASS=3")}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(3)}}) +
                          failed(kScript, "C_FindObjectsInit", CKR_OPERATION_ACTIVE),
                      "80f5"));
}

TEST_F(RemoveData, aSecondSearchThatDoesNotBeginEndsIt) {
    fake.addObject(object(CKO_PRIVATE_KEY, "01"));
    fake.passNext(Function::C_FindObjectsInit);
    fake.answerNext(Function::C_FindObjectsInit, CKR_DEVICE_REMOVED);
    expectOutputs(execute(kScript, ofType("KEY_PAIR")), {errorIs("80eb")});
    expectCalls(loggedIn({init("CKA_CLASS=3"), kFind, destroy("0x101"), kFind, kFinal, init("CKA_CLASS=2")}));
}

TEST_F(RemoveData, aSearchThatFailsStaysOpen) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    fake.passNext(Function::C_FindObjects);
    fake.answerNext(Function::C_FindObjects, CKR_DEVICE_REMOVED);
    const Params params = ofType("CERTIFICATE");

    expectOutputs(execute(kScript, params), {errorIs("80eb")});

    expectCalls(loggedIn({init("CKA_CLASS=1"), kFind, destroy("0x101"), kFind}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(1)}}) + found(0x101, 1) + destroyed(0x101) +
                          findCall(kScript, 1) + failed(kScript, "C_FindObjects", CKR_DEVICE_REMOVED),
                      "80eb"));
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
}

TEST_F(RemoveData, aSearchThatDoesNotEndEndsItBeforeTheSecondSweep) {
    fake.addObject(object(CKO_PRIVATE_KEY, "01"));
    fake.addObject(object(CKO_PUBLIC_KEY, "01"));
    fake.answerNext(Function::C_FindObjectsFinal, CKR_GENERAL_ERROR);
    const Params params = ofType("KEY_PAIR");

    expectOutputs(execute(kScript, params), {errorIs("80f7")});

    expectCalls(loggedIn({init("CKA_CLASS=3"), kFind, destroy("0x101"), kFind, kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(3)}}) + found(0x101, 1) + destroyed(0x101) + found(0, 0) +
                          searchEnded() + failed(kScript, "C_FindObjectsFinal", CKR_GENERAL_ERROR),
                      "80f7"));
}

TEST_F(RemoveData, aDeviceErrorOnDestroyingIsToleratedAndCountsAsFound) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    fake.answerNext(Function::C_DestroyObject, CKR_DEVICE_ERROR);
    const Params params = ofType("CERTIFICATE");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({init("CKA_CLASS=1"), kFind, destroy("0x101"), kFind, kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(1)}}) + found(0x101, 1) + destroyed(0x101) +
                          failed(kScript, "C_DestroyObject", CKR_DEVICE_ERROR) + found(0, 0) + searchEnded(),
                      "0"));
    EXPECT_EQ(left(), Handles{0x101});
}

TEST_F(RemoveData, anyOtherFailureOnDestroyingEndsTheSearchAndTheRemoval) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    fake.addObject(object(CKO_CERTIFICATE, "02"));
    fake.answerNext(Function::C_DestroyObject, CKR_SESSION_READ_ONLY);
    const Params params = ofType("CERTIFICATE");

    expectOutputs(execute(kScript, params), {errorIs("8101")});

    expectCalls(loggedIn({init("CKA_CLASS=1"), kFind, destroy("0x101"), kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(1)}}) + found(0x101, 1) + destroyed(0x101) +
                          failed(kScript, "C_DestroyObject", CKR_SESSION_READ_ONLY) + searchEnded(),
                      "8101"));
    EXPECT_EQ(left(), (Handles{0x101, 0x102}));
}

TEST_F(RemoveData, theFailureOnDestroyingOutweighsASearchThatDoesNotEnd) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    fake.answerNext(Function::C_DestroyObject, CKR_SESSION_READ_ONLY);
    fake.answerNext(Function::C_FindObjectsFinal, CKR_GENERAL_ERROR);
    expectOutputs(execute(kScript, ofType("CERTIFICATE")), {errorIs("8101")});
    expectTraceAt(1, failed(kScript, "C_DestroyObject", CKR_SESSION_READ_ONLY) +
                         failed(kScript, "C_FindObjectsFinal", CKR_GENERAL_ERROR));
}

TEST_F(RemoveData, aCountAboveOneIsTakenAsOne) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    int calls = 0;
    fake.hook<Function::C_FindObjects>([&calls](CK_SESSION_HANDLE, CK_OBJECT_HANDLE* found, CK_ULONG, CK_ULONG* count) {
        *found = 0x101;
        *count = calls++ == 0 ? 5 : 0;
        return CK_RV{CKR_OK};
    });
    const Params params = ofType("CERTIFICATE");
    expectOutputs(execute(kScript, params), {done()});
    expectCalls(loggedIn({init("CKA_CLASS=1"), kFind, destroy("0x101"), kFind, kFinal}));
    expectTrace(story(params,
                      searchAnnounced({{CKA_CLASS, numberDump(1)}}) + found(0x101, 1) + destroyed(0x101) + found(0, 0) +
                          searchEnded(),
                      "0"));
}

TEST_F(RemoveData, aFailedLogoutIsAnnouncedWithEachTryAndRewritesError) {
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);
    const Params params = ofType("CERTIFICATE");

    expectOutputs(execute(kScript, params), {errorIs("80fa")});

    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + searchAnnounced({{CKA_CLASS, numberDump(1)}}) + found(0x101, 1) +
                            destroyed(0x101) + found(0, 0) + searchEnded() +
                            logoutTrace(kScript, 1, CKR_GENERAL_ERROR) + logoutTrace(kScript, 1, CKR_DEVICE_ERROR) +
                            logoutTrace(kScript, 1),
                        "80fa"));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(RemoveData, aFailedLogoutReplacesAFailedCallsCode) {
    fake.answerNext(Function::C_FindObjectsInit, CKR_DEVICE_REMOVED);
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    expectError(execute(kScript, ofType("CERTIFICATE")), "80f7");
}

TEST_F(RemoveData, aFailedLogoutLeavesAClientCode) {
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    expectError(execute(kScript, ofType("CERTIFICATE")), "80f3");
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    expectError(execute(kScript, ofType("nonsense")), "80ec");
}

TEST_F(RemoveData, theLogoutIsTriedWithoutLimit) {
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR, 40);
    expectError(execute(kScript, ofType("nonsense")), "80ec");
    EXPECT_EQ(fake.callCount(Function::C_Logout), 41U);
}

TEST_F(RemoveData, aUserWhoWasLoggedInBeforeStaysLoggedIn) {
    authenticate();
    fake.addObject(object(CKO_CERTIFICATE, "01"));
    const Params params = ofType("CERTIFICATE");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", init("CKA_CLASS=1"), kFind, destroy("0x101"), kFind,
                 kFinal});
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

TEST_F(RemoveData, aHandleOfZeroIsDestroyedAsAnyOther) {
    answerFinds(0, 1);
    expectOutputs(execute(kScript, ofType("CERTIFICATE")), {errorIs("80f5")});
    expectCalls(loggedIn({init("CKA_CLASS=1"), kFind, destroy("0x0"), kFinal}));
    expectTraceAt(1, failed(kScript, "C_DestroyObject", CKR_OBJECT_HANDLE_INVALID));
}

TEST_F(RemoveData, aBadPinIdLeavesAsAnExceptionBeforeAnyCall) {
    const Result result = execute(kScript, ofType("ANY").plain("PINID", "so"));
    expectFailure(result.failure, {"ClientOperationException", "80ec", "Bad parameter PINID: so"});
    expectCalls({});
}

} // namespace Conformance::RemoveDataTests
