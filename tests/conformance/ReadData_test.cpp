// Reading by the kind of object, and certificates.

#include "tests/conformance/Repeated.h"
#include "tests/conformance/SearchTrace.h"
#include "tests/fake/TemplateText.h"

namespace Conformance::ReadDataTests {

using Fake::Function;

namespace {

const std::string kScript = "readData";
const std::string kMethod = "readCertificate";
const SearchEntry kClassEntry = {0x00, numberDump(1)};

Trace badParameter(const std::string& text) {
    return {{1, "PKCS11Client::" + text}};
}

Params certificate() {
    return Params().plain("OBJ_TYPE", "CERTIFICATE");
}

class ReadData : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        startWithReader();
    }

    Result read(const Params& terms = Params()) { return execute(kScript, certificate().append(terms)); }

    CK_OBJECT_HANDLE addCertificate(const std::string& valueHex) {
        return fake.addObject(
            Fake::Attributes().number(CKA_CLASS, CKO_CERTIFICATE).boolean(CKA_TOKEN, true).hex(CKA_VALUE, valueHex));
    }

    /// All of `execute` around the lines of readData itself, which opens session 1.
    static Trace framed(const Params& params, const Trace& inner, const Result& result) {
        return executeTrace(kScript, params.ids(), openSessionTrace(0, 1) + inner, result);
    }
    static Trace framedCertificate(const Trace& inner, const Result& result) {
        return framed(certificate(), entry(kMethod) + inner + leave(kMethod), result);
    }

    /// The template that a request gives; the session is open afterwards.
    std::string searched(const Params& terms) {
        const Result result = read(terms);
        expectOutputs(result, {done(), countIs("0")});
        for (const std::string& line : calls()) {
            if (line.starts_with("C_FindObjectsInit(0x1, ")) {
                return line.substr(23, line.size() - 24);
            }
        }
        return "no search";
    }
};

TEST_F(ReadData, certificatesAreListedWithTheirValues) {
    addCertificate("30820001");
    addCertificate("3081AA");

    const Result result = read();

    expectOutputs(result, {done(), countIs("2"), {"DATA1", 1, 2, "MIIAAQ=="}, {"DATA2", 1, 2, "MIGq"}});
    expectCalls({"C_OpenSession(0x11, flags=0x4)", "C_FindObjectsInit(0x1, [CKA_CLASS=1])", "C_FindObjects(0x1, max=1)",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_VALUE=null/0])",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_VALUE=room/4])", "C_FindObjects(0x1, max=1)",
                 "C_GetAttributeValue(0x1, 0x102, [CKA_VALUE=null/0])",
                 "C_GetAttributeValue(0x1, 0x102, [CKA_VALUE=room/3])", "C_FindObjects(0x1, max=1)",
                 "C_FindObjectsFinal(0x1)"});
    expectTrace(framedCertificate(searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                                      valueRead(kMethod, 1, 0x101, 0x11, "30820001") + foundTrace(kMethod, 1, 0x102) +
                                      valueRead(kMethod, 1, 0x102, 0x11, "3081AA") + foundNothing(kMethod, 1) +
                                      searchEnd(kMethod, 1),
                                  result));
}

TEST_F(ReadData, noMatchIsASuccessWithCountZero) {
    const Result result = read();

    expectOutputs(result, {done(), countIs("0")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)", "C_FindObjectsInit(0x1, [CKA_CLASS=1])", "C_FindObjects(0x1, max=1)",
                 "C_FindObjectsFinal(0x1)"});
    expectTrace(framedCertificate(
        searchTrace(kMethod, 1, {kClassEntry}) + foundNothing(kMethod, 1) + searchEnd(kMethod, 1), result));
}

TEST_F(ReadData, theCountIsHexadecimalAndTheRunningNumbersAreDecimal) {
    std::vector<Output> expected = {done(), countIs("b")};
    for (int i = 1; i <= 11; ++i) {
        addCertificate("3082");
        expected.push_back({"DATA" + std::to_string(i), 1, 2, "MII="});
    }

    expectOutputs(read(), expected);
}

TEST_F(ReadData, sixteenCertificatesGiveCount10) {
    for (int i = 0; i < 16; ++i) {
        addCertificate("3082");
    }

    const Result result = read();

    EXPECT_EQ(result.value("COUNT"), "10");
    EXPECT_EQ(result.value("DATA16"), "MII=");
    EXPECT_EQ(result.outputs.size(), 18U);
}

TEST_F(ReadData, aLongValueIsOneLineOfBase64) {
    std::string zeros;
    std::string expected;
    for (int i = 0; i < 1024; ++i) {
        zeros += "000000";
        expected += "AAAA";
    }
    addCertificate(zeros);

    expectOutputs(read(), {done(), countIs("1"), {"DATA1", 1, 2, expected}});
}

TEST_F(ReadData, nobodyIsLoggedInAndTheSessionStaysOpen) {
    static_cast<void>(read());

    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
    ASSERT_EQ(fake.sessionCount(), 1U);
    EXPECT_FALSE(fake.sessions().front().searchActive);
    EXPECT_EQ(fake.callCount(Function::C_CloseSession), 0U);
    forget();

    const Result result = read();

    expectOutputs(result, {done(), countIs("0")});
    expectCalls({"C_GetSessionInfo(0x1)", "C_FindObjectsInit(0x1, [CKA_CLASS=1])", "C_FindObjects(0x1, max=1)",
                 "C_FindObjectsFinal(0x1)"});
    expectTrace(executeTrace(kScript, certificate().ids(),
                             keepSessionTrace(1, CKS_RO_PUBLIC_SESSION, 4) + entry(kMethod) +
                                 searchTrace(kMethod, 1, {kClassEntry}) + foundNothing(kMethod, 1) +
                                 searchEnd(kMethod, 1) + leave(kMethod),
                             result));
}

TEST_F(ReadData, privateCertificatesAreSeenOnASessionThatIsLoggedIn) {
    fake.addObject(
        Fake::Attributes().number(CKA_CLASS, CKO_CERTIFICATE).boolean(CKA_PRIVATE, true).hex(CKA_VALUE, "3082"));
    expectOutputs(read(), {done(), countIs("0")});
    fake.setLogin(Fake::Role::User);

    expectOutputs(read(), {done(), countIs("1"), {"DATA1", 1, 2, "MII="}});
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

// What readData decides itself

TEST_F(ReadData, aSessionThatCannotBeOpenedEndsIt) {
    fake.answerNext(Function::C_OpenSession, CKR_SESSION_COUNT);

    const Result result = read();

    expectOutputs(result, {errorIs("80fe")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(executeTrace(kScript, certificate().ids(),
                             openSessionTrace(0, low(static_cast<CK_ULONG>(-1)), 0x11, 0xB1) +
                                 failed(kScript, "openSession", 0xB1),
                             result));
}

TEST_F(ReadData, theSessionIsOpenedBeforeTheParametersAreLookedAt) {
    fake.answerNext(Function::C_OpenSession, CKR_TOKEN_NOT_PRESENT);

    expectOutputs(execute(kScript, Params().plain("OBJ_TYPE", "nonsense")), {errorIs("80eb")});
}

TEST_F(ReadData, aStaleHandleIsReported) {
    static_cast<void>(read());
    fake.dropSessions();
    forget();

    expectOutputs(read(), {errorIs("80ff")});
    expectCalls({"C_GetSessionInfo(0x1)"});
    expectTraceAt(1, failed(kScript, "openSession", 0xB3));
}

TEST_F(ReadData, withoutAVectorTheSessionIsOpenedAllTheSame) {
    const Result result = execute(kScript, Params::null());

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(executeTrace(kScript, std::nullopt,
                             openSessionTrace(0, 1) + badParameter("readData: Bad parameter : pOpParams=NULL"),
                             result));
}

TEST_F(ReadData, withoutObjectTypeNothingIsReadAndThatIsASuccess) {
    addCertificate("3082");
    const Params params = Params().hex("LABEL", "41").plain("obj_type", "CERTIFICATE");

    const Result result = execute(kScript, params);

    expectOutputs(result, {done()});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(framed(params, Trace(), result));
}

TEST_F(ReadData, anEmptyVectorIsASuccessToo) {
    expectOutputs(execute(kScript, Params()), {done()});
}

TEST_F(ReadData, anUnknownObjectTypeIsABadParameter) {
    const Params params = Params().plain("OBJ_TYPE", "SECRET");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(framed(params, badParameter("readData: Bad parameter OBJ_TYPE: SECRET"), result));
}

TEST_F(ReadData, objectTypesAreComparedExactly) {
    for (const char* type : {"certificate", "Certificate", "CERTIFICATE ", "key_pair", "KEYPAIR", "CONTAINER_NAME",
                             "CERTIFICATES", "KEY_PAIR1", ""}) {
        expectOutputs(execute(kScript, Params().plain("OBJ_TYPE", type)), {errorIs("80ec")});
        expectTraceAt(1, badParameter(std::string("readData: Bad parameter OBJ_TYPE: ") + type));
    }
    EXPECT_EQ(fake.callCount(Function::C_FindObjectsInit), 0U);
}

TEST_F(ReadData, onlyTheFirstObjectTypeCounts) {
    addCertificate("3082");
    fake.addObject(Fake::Attributes().number(CKA_CLASS, CKO_PUBLIC_KEY));

    expectOutputs(execute(kScript, certificate().plain("OBJ_TYPE", "KEY_PAIR").plain("OBJ_TYPE", "nonsense")),
                  {done(), countIs("1"), {"DATA1", 1, 2, "MII="}});
    expectOutputs(execute(kScript, Params().plain("OBJ_TYPE", "x").append(certificate())), {errorIs("80ec")});
}

TEST_F(ReadData, theObjectTypeMayStandBehindTheTerms) {
    const Params params = Params().hex("ID", "01").append(certificate()).hex("LABEL", "41");

    expectOutputs(execute(kScript, params), {done(), countIs("0")});
    EXPECT_EQ(calls().at(1), "C_FindObjectsInit(0x1, [CKA_CLASS=1 CKA_ID=01 CKA_LABEL=41])");
}

TEST_F(ReadData, theErrorOfTheScriptBehindIsKept) {
    fake.answerNext(Function::C_FindObjectsInit, CKR_DEVICE_ERROR);
    expectOutputs(execute(kScript, Params().plain("OBJ_TYPE", "KEY_PAIR")), {errorIs("80fa")});
}

// The search template

struct TermRow {
    const char* name;
    Params params;
    std::string searched;
};

class ReadDataTerm : public ReadData, public ::testing::WithParamInterface<TermRow> {};

TEST_P(ReadDataTerm, isAppended) {
    EXPECT_EQ(searched(GetParam().params), GetParam().searched);
}

INSTANTIATE_TEST_SUITE_P(
    Keywords, ReadDataTerm,
    ::testing::Values(
        TermRow{"none", Params(), "[CKA_CLASS=1]"},
        TermRow{"label", Params().hex("LABEL", "4142"), "[CKA_CLASS=1 CKA_LABEL=4142]"},
        TermRow{"labelUpToTheFirstZero", Params().hex("LABEL", "41004200"), "[CKA_CLASS=1 CKA_LABEL=41]"},
        TermRow{"subject", Params().hex("SUBJECT", "3000"), "[CKA_CLASS=1 CKA_SUBJECT=3000]"},
        TermRow{"id", Params().hex("ID", "0100"), "[CKA_CLASS=1 CKA_ID=0100]"},
        TermRow{"issuer", Params().hex("ISSUER", "300b"), "[CKA_CLASS=1 CKA_ISSUER=300B]"},
        TermRow{"serialNumber", Params().hex("SN", "020100"), "[CKA_CLASS=1 CKA_SERIAL_NUMBER=020100]"},
        TermRow{"token", Params().plain("TOKEN", "1"), "[CKA_CLASS=1 CKA_TOKEN=true]"},
        TermRow{"tokenFalse", Params().plain("TOKEN", "0"), "[CKA_CLASS=1 CKA_TOKEN=false]"},
        TermRow{"private", Params().plain("PRIVATE", "1"), "[CKA_CLASS=1 CKA_PRIVATE=true]"},
        TermRow{"privateFalse", Params().plain("PRIVATE", "true"), "[CKA_CLASS=1 CKA_PRIVATE=false]"},
        TermRow{"modifiable", Params().plain("MODIFIABLE", "1"), "[CKA_CLASS=1 CKA_MODIFIABLE=true]"},
        TermRow{"modifiableFalse", Params().plain("MODIFIABLE", ""), "[CKA_CLASS=1 CKA_MODIFIABLE=false]"},
        TermRow{"onlyExactlyOneIsTrue", Params().plain("TOKEN", "01").plain("PRIVATE", " 1").plain("MODIFIABLE", "1 "),
                "[CKA_CLASS=1 CKA_TOKEN=false CKA_PRIVATE=false CKA_MODIFIABLE=false]"},
        TermRow{"user", Params().plain("CERT_CATEGORY", "USER"), "[CKA_CLASS=1 CKA_CERTIFICATE_CATEGORY=1]"},
        TermRow{"authority", Params().plain("CERT_CATEGORY", "CA"), "[CKA_CLASS=1 CKA_CERTIFICATE_CATEGORY=2]"},
        TermRow{"inTheOrderOfTheRequest",
                Params()
                    .plain("CERT_CATEGORY", "CA")
                    .plain("MODIFIABLE", "0")
                    .plain("PRIVATE", "0")
                    .plain("TOKEN", "1")
                    .hex("SN", "05")
                    .hex("ISSUER", "04")
                    .hex("ID", "03")
                    .hex("SUBJECT", "02")
                    .hex("LABEL", "01"),
                "[CKA_CLASS=1 CKA_CERTIFICATE_CATEGORY=2 CKA_MODIFIABLE=false CKA_PRIVATE=false CKA_TOKEN=true "
                "CKA_SERIAL_NUMBER=05 CKA_ISSUER=04 CKA_ID=03 CKA_SUBJECT=02 CKA_LABEL=01]"},
        TermRow{"otherIdentifiersAreIgnored",
                Params()
                    .hex("label", "41")
                    .hex("KEYID", "01")
                    .plain("Token", "1")
                    .plain("ALGOID", "x")
                    .plain("CERT_TYPE", "x"),
                "[CKA_CLASS=1]"},
        TermRow{"emptyValuesAreSkipped", Params().hex("SUBJECT", "").hex("ID", "").hex("ISSUER", "").hex("SN", ""),
                "[CKA_CLASS=1]"},
        TermRow{"undecodableValuesAreSkipped",
                Params().hex("SUBJECT", "ZZ").hex("ID", "1").hex("ISSUER", "0x01").hex("SN", "QUI=").hex("ID", "02"),
                "[CKA_CLASS=1 CKA_ID=02]"},
        TermRow{"hexadecimalWhateverTheEncoding",
                Params().base64("LABEL", "4142").text("ID", "01").add("SN", 5, 0, "02").plain("ISSUER", "03"),
                "[CKA_CLASS=1 CKA_LABEL=4142 CKA_ID=01 CKA_SERIAL_NUMBER=02 CKA_ISSUER=03]"},
        TermRow{"aLabelThatBeginsWithZeroHasLengthZero", Params().hex("LABEL", "0041"),
                "[CKA_CLASS=1 CKA_LABEL=empty]"}),
    [](const auto& row) { return row.param.name; });

TEST_F(ReadData, allTermsAreTracedAndMatched) {
    fake.addObject(Fake::Attributes()
                       .number(CKA_CLASS, CKO_CERTIFICATE)
                       .hex(CKA_LABEL, "41")
                       .number(CKA_CERTIFICATE_CATEGORY, 1)
                       .boolean(CKA_TOKEN, true)
                       .hex(CKA_VALUE, "3082"));
    addCertificate("3081AA");
    const Params params = certificate().hex("LABEL", "41").plain("CERT_CATEGORY", "USER").plain("TOKEN", "1");

    const Result result = execute(kScript, params);

    expectOutputs(result, {done(), countIs("1"), {"DATA1", 1, 2, "MII="}});
    expectTrace(framed(params,
                       entry(kMethod) +
                           searchTrace(kMethod, 1, {kClassEntry, {0x03, "41"}, {0x87, numberDump(1)}, {0x01, "01"}}) +
                           foundTrace(kMethod, 1, 0x101) + valueRead(kMethod, 1, 0x101, 0x11, "3082") +
                           foundNothing(kMethod, 1) + searchEnd(kMethod, 1) + leave(kMethod),
                       result));
}

TEST_F(ReadData, anUndecodableLabelIsCountedWithoutAValue) {
    for (const char* label : {"", "Z", "414", "not hexadecimal"}) {
        EXPECT_EQ(searched(Params().hex("LABEL", label)), "[CKA_CLASS=1 CKA_LABEL=null/0]") << label;
    }
}

TEST_F(ReadData, anUndecodableLabelIsTracedWithADumpOfNoBytes) {
    const Params params = certificate().hex("LABEL", "Z");

    const Result result = execute(kScript, params);

    expectTrace(framed(params,
                       entry(kMethod) + searchTrace(kMethod, 1, {kClassEntry, {0x03, ""}}) + foundNothing(kMethod, 1) +
                           searchEnd(kMethod, 1) + leave(kMethod),
                       result));
}

TEST_F(ReadData, anUndecodableLabelKeepsTheTypeThatItsPlaceIsPresetTo) {
    struct Place {
        const char* preset;
        const char* nextId; ///< the keyword that moves the label one place on
        const char* nextValue;
        const char* nextEntry;
    };
    Params before;
    std::string entries = "[CKA_CLASS=1";
    for (const Place& place : std::vector<Place>{{"CKA_LABEL", "CERT_CATEGORY", "CA", " CKA_CERTIFICATE_CATEGORY=2"},
                                                 {"CKA_SUBJECT", "MODIFIABLE", "1", " CKA_MODIFIABLE=true"},
                                                 {"CKA_ID", "PRIVATE", "0", " CKA_PRIVATE=false"},
                                                 {"CKA_ISSUER", "TOKEN", "1", " CKA_TOKEN=true"},
                                                 {"CKA_SERIAL_NUMBER", "SN", "05", " CKA_SERIAL_NUMBER=05"},
                                                 {"CKA_MODIFIABLE", "ISSUER", "04", " CKA_ISSUER=04"},
                                                 {"CKA_TOKEN", "ID", "03", " CKA_ID=03"},
                                                 {"CKA_PRIVATE", "SUBJECT", "02", " CKA_SUBJECT=02"},
                                                 {"CKA_CERTIFICATE_CATEGORY", "", "", ""}}) {
        EXPECT_EQ(searched(Params().append(before).hex("LABEL", "?")), entries + " " + place.preset + "=null/0]");
        before.plain(place.nextId, place.nextValue);
        entries += place.nextEntry;
    }
}

TEST_F(ReadData, entriesBehindAnUndecodableLabelTakeTheNextPlace) {
    EXPECT_EQ(searched(Params().hex("ID", "01").hex("LABEL", "?").hex("SN", "02")),
              "[CKA_CLASS=1 CKA_ID=01 CKA_SUBJECT=null/0 CKA_SERIAL_NUMBER=02]");
}

TEST_F(ReadData, aRepeatedKeywordAppendsAnotherEntry) {
    EXPECT_EQ(searched(Params().hex("ID", "01").plain("TOKEN", "1").hex("ID", "0203").plain("TOKEN", "0")),
              "[CKA_CLASS=1 CKA_ID=01 CKA_TOKEN=true CKA_ID=0203 CKA_TOKEN=false]");
    EXPECT_EQ(searched(Params().hex("ID", "01").hex("SN", "02").hex("ID", "").hex("SN", "Z")),
              "[CKA_CLASS=1 CKA_ID=01 CKA_SERIAL_NUMBER=02]");
    EXPECT_EQ(searched(Params().hex("ID", "01").hex("LABEL", "41").hex("LABEL", "?")),
              "[CKA_CLASS=1 CKA_ID=01 CKA_LABEL=41 CKA_ID=null/0]");
    EXPECT_EQ(searched(Params().hex("ID", "01").hex("LABEL", "?").hex("LABEL", "41")),
              "[CKA_CLASS=1 CKA_ID=01 CKA_SUBJECT=null/0 CKA_LABEL=41]");
}

TEST_F(ReadData, everyCategoryIsLookedAt) {
    expectOutputs(read(Params().plain("CERT_CATEGORY", "x").plain("CERT_CATEGORY", "CA")), {errorIs("80ec")});
    expectOutputs(read(Params().plain("CERT_CATEGORY", "CA").plain("CERT_CATEGORY", "x")), {errorIs("80ec")});
    EXPECT_EQ(searched(Params().plain("CERT_CATEGORY", "CA").plain("CERT_CATEGORY", "USER")),
              "[CKA_CLASS=1 CKA_CERTIFICATE_CATEGORY=2 CKA_CERTIFICATE_CATEGORY=1]");
}

TEST_F(ReadData, tenEntriesFit) {
    Params ids;
    std::string entries = "[CKA_CLASS=1";
    for (const char* id : {"01", "02", "03", "04", "05", "06", "07", "08", "09"}) {
        ids.hex("ID", id);
        entries += std::string(" CKA_ID=") + id;
    }
    EXPECT_EQ(searched(ids), entries + "]");
    // What sets no entry needs no room.
    EXPECT_EQ(searched(Params(ids).hex("SUBJECT", "").hex("ID", "4").hex("ISSUER", "Z").hex("SN", "x")), entries + "]");
}

TEST_F(ReadData, nineUnreadableLabelsFillTheTemplateWithEveryPresetType) {
    EXPECT_EQ(searched(repeated(9, "LABEL", "?")),
              "[CKA_CLASS=1 CKA_LABEL=null/0 CKA_SUBJECT=null/0 CKA_ID=null/0 CKA_ISSUER=null/0 "
              "CKA_SERIAL_NUMBER=null/0 CKA_MODIFIABLE=null/0 CKA_TOKEN=null/0 CKA_PRIVATE=null/0 "
              "CKA_CERTIFICATE_CATEGORY=null/0]");
}

TEST_F(ReadData, anEleventhEntryIsABadParameterWhateverItsKeyword) {
    const Params nine = repeated(9, "ID", "01");
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"LABEL", "4142"}, {"LABEL", ""},         {"LABEL", "?"},         {"SUBJECT", "0a"},
        {"ID", "01"},      {"ISSUER", "3000"},    {"SN", "05"},           {"TOKEN", "1"},
        {"PRIVATE", "0"},  {"MODIFIABLE", "yes"}, {"CERT_CATEGORY", "CA"}};
    for (const auto& [id, value] : rows) {
        expectOutputs(read(Params(nine).plain(id, value).hex("SN", "07")), {errorIs("80ec")});
        expectTraceAt(1, badParameter("readCertificate: Bad parameter " + id + ": " + value));
    }
    expectOutputs(read(Params(nine).plain("CERT_CATEGORY", "none")), {errorIs("80ec")});
    expectTraceAt(1, badParameter("readCertificate: Bad parameter CERT_TYPE: none"));
    EXPECT_EQ(fake.callCount(Function::C_FindObjectsInit), 0U);
}

TEST_F(ReadData, anEleventhEntryIsToldInTheWholeTraceAndTheSessionStaysOpen) {
    addCertificate("3082");
    const Params params = certificate().append(repeated(10, "TOKEN", "1"));

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(framed(
        params, entry(kMethod) + badParameter("readCertificate: Bad parameter TOKEN: 1") + leave(kMethod), result));
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(ReadData, manyRepetitionsEndAtTheFirstThatFindsNoRoom) {
    Params terms;
    for (int i = 0; i < 1000; ++i) {
        terms.hex("LABEL", "4142").hex("LABEL", "?").hex("ID", "0102").plain("TOKEN", "1").hex("SN", "05");
        terms.plain("PRIVATE", "0").plain("MODIFIABLE", "1").hex("ISSUER", "06").hex("SUBJECT", "07");
        terms.plain("CERT_CATEGORY", "CA");
    }
    expectOutputs(read(terms), {errorIs("80ec")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTraceAt(1, badParameter("readCertificate: Bad parameter CERT_CATEGORY: CA"));
}

TEST_F(ReadData, aBadCategoryIsCalledACertType) {
    const Params params = certificate().hex("ID", "01").plain("CERT_CATEGORY", "user");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(framed(params,
                       entry(kMethod) + badParameter("readCertificate: Bad parameter CERT_TYPE: user") + leave(kMethod),
                       result));
}

TEST_F(ReadData, categoriesAreComparedExactly) {
    for (const char* category : {"", "1", "Ca", "USER ", "AUTHORITY"}) {
        expectOutputs(read(Params().plain("CERT_CATEGORY", category)), {errorIs("80ec")});
        expectTraceAt(1, badParameter(std::string("readCertificate: Bad parameter CERT_TYPE: ") + category));
    }
}

// Failures of the token

TEST_F(ReadData, aSearchThatCannotBeginGivesNoCount) {
    fake.answerNext(Function::C_FindObjectsInit, CKR_ATTRIBUTE_VALUE_INVALID);

    const Result result = read();

    expectOutputs(result, {errorIs("80f9")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)", "C_FindObjectsInit(0x1, [CKA_CLASS=1])"});
    expectTrace(
        framedCertificate(searchTrace(kMethod, 1, {kClassEntry}) + failed(kMethod, "C_FindObjectsInit", 0x13), result));
}

TEST_F(ReadData, aFailingFindLeavesTheSearchOpen) {
    fake.answerNext(Function::C_FindObjects, CKR_DEVICE_REMOVED);

    const Result result = read();

    expectOutputs(result, {errorIs("80eb"), countIs("0")});
    expectCalls(
        {"C_OpenSession(0x11, flags=0x4)", "C_FindObjectsInit(0x1, [CKA_CLASS=1])", "C_FindObjects(0x1, max=1)"});
    expectTrace(framedCertificate(searchTrace(kMethod, 1, {kClassEntry}) + askedNext(kMethod, 1) +
                                      failed(kMethod, "C_FindObjects", 0x32),
                                  result));
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
}

TEST_F(ReadData, aSearchLeftOpenIsNotCleanedUpByTheNextRead) {
    fake.answerNext(Function::C_FindObjects, CKR_DEVICE_ERROR);
    static_cast<void>(read());
    forget();

    expectOutputs(read(), {errorIs("80f5")});
    expectCalls({"C_GetSessionInfo(0x1)", "C_FindObjectsInit(0x1, [CKA_CLASS=1])"});
    expectTraceAt(1, failed(kMethod, "C_FindObjectsInit", 0x90));
}

TEST_F(ReadData, aLaterFailureKeepsTheDataPushedWithCountZero) {
    addCertificate("A1");
    addCertificate("A2");
    fake.passNext(Function::C_FindObjects, 2);
    fake.answerNext(Function::C_FindObjects, CKR_DEVICE_MEMORY);

    const Result result = read();

    expectOutputs(result, {errorIs("80f6"), countIs("0"), {"DATA1", 1, 2, "oQ=="}, {"DATA2", 1, 2, "og=="}});
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
    EXPECT_EQ(fake.callCount(Function::C_FindObjectsFinal), 0U);
}

TEST_F(ReadData, anUnreadableLengthLeavesTheSearchOpen) {
    addCertificate("A1");
    fake.answerNext(Function::C_GetAttributeValue, CKR_ATTRIBUTE_SENSITIVE, 1, Fake::When::After);

    const Result result = read();

    expectOutputs(result, {errorIs("80f9"), countIs("0")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)", "C_FindObjectsInit(0x1, [CKA_CLASS=1])", "C_FindObjects(0x1, max=1)",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_VALUE=null/0])"});
    expectTrace(framedCertificate(searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                                      askedValue(kMethod, 1, 0x101, 0x11) +
                                      failed(kMethod, "C_GetAttributeValue", 0x11),
                                  result));
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
}

TEST_F(ReadData, anUnreadableValueKeepsTheDataPushed) {
    addCertificate("A1");
    addCertificate("A2");
    fake.passNext(Function::C_GetAttributeValue, 3);
    fake.answerNext(Function::C_GetAttributeValue, CKR_FUNCTION_FAILED, 1, Fake::When::After);

    const Result result = read();

    expectOutputs(result, {errorIs("80f8"), countIs("0"), {"DATA1", 1, 2, "oQ=="}});
    expectTrace(framedCertificate(searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                                      valueRead(kMethod, 1, 0x101, 0x11, "A1") + foundTrace(kMethod, 1, 0x102) +
                                      askedValue(kMethod, 1, 0x102, 0x11) + askedValue(kMethod, 1, 0x102, 0x11) +
                                      failed(kMethod, "C_GetAttributeValue", 0x06),
                                  result));
}

TEST_F(ReadData, aSearchThatCannotEndGivesItsCodeAndTheTotal) {
    addCertificate("A1");
    fake.answerNext(Function::C_FindObjectsFinal, CKR_GENERAL_ERROR, 1, Fake::When::After);

    const Result result = read();

    expectOutputs(result, {errorIs("80f7"), countIs("1"), {"DATA1", 1, 2, "oQ=="}});
    expectTrace(framedCertificate(searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                                      valueRead(kMethod, 1, 0x101, 0x11, "A1") + foundNothing(kMethod, 1) +
                                      searchEnd(kMethod, 1) + failed(kMethod, "C_FindObjectsFinal", 0x05),
                                  result));
}

struct MissingRow {
    Function function;
    const char* name;
    std::vector<Output> outputs;
};

class ReadDataMissing : public ReadData, public ::testing::WithParamInterface<MissingRow> {};

TEST_P(ReadDataMissing, functionsAnswerAsNotSupported) {
    addCertificate("A1");
    fake.setNullEntry(GetParam().function);

    expectOutputs(read(), GetParam().outputs);
    expectTraceAt(1, failed(kMethod, GetParam().name, 0x54));
}

INSTANTIATE_TEST_SUITE_P(
    Functions, ReadDataMissing,
    ::testing::Values(MissingRow{Function::C_FindObjectsInit, "C_FindObjectsInit", {errorIs("80f4")}},
                      MissingRow{Function::C_FindObjects, "C_FindObjects", {errorIs("80f4"), countIs("0")}},
                      MissingRow{Function::C_GetAttributeValue, "C_GetAttributeValue", {errorIs("80f4"), countIs("0")}},
                      MissingRow{Function::C_FindObjectsFinal,
                                 "C_FindObjectsFinal",
                                 {errorIs("80f4"), countIs("1"), {"DATA1", 1, 2, "oQ=="}}}),
    [](const auto& row) { return row.param.name; });

// Hostile answers

TEST_F(ReadData, aCountAboveOneIsTakenAsOne) {
    addCertificate("A1");
    overstateFinds(4711);

    const Result result = read();

    expectOutputs(result, {done(), countIs("1"), {"DATA1", 1, 2, "oQ=="}});
    expectTrace(framedCertificate(searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                                      valueRead(kMethod, 1, 0x101, 0x11, "A1") + foundNothing(kMethod, 1) +
                                      searchEnd(kMethod, 1),
                                  result));
}

TEST_F(ReadData, aHandleWrittenWithoutACountIsNoObject) {
    answerFinds(0x4711, 0);

    const Result result = read();

    expectOutputs(result, {done(), countIs("0")});
    expectTrace(framedCertificate(
        searchTrace(kMethod, 1, {kClassEntry}) + foundNothing(kMethod, 1) + searchEnd(kMethod, 1), result));
}

TEST_F(ReadData, aSuccessThatWritesNothingFindsNothing) {
    fake.answerNext(Function::C_FindObjects, CKR_OK);
    expectOutputs(read(), {done(), countIs("0")});
}

TEST_F(ReadData, aLengthThatIsNoneIsAGeneralError) {
    addCertificate("A1");
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        list[0].ulValueLen = CK_UNAVAILABLE_INFORMATION;
        return CK_RV{CKR_OK};
    });

    const Result result = read();

    expectOutputs(result, {errorIs("80f7"), countIs("0")});
    EXPECT_EQ(fake.callCount(Function::C_GetAttributeValue), 1U);
    expectTrace(framedCertificate(searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                                      askedValue(kMethod, 1, 0x101, 0x11) +
                                      failed(kMethod, "C_GetAttributeValue", 0x05),
                                  result));
}

TEST_F(ReadData, aLengthBeyondTheBufferIsAGeneralError) {
    addCertificate("A1A2");
    for (const CK_ULONG length : {CK_ULONG{3}, CK_ULONG{0x7FFFFFFF}, CK_UNAVAILABLE_INFORMATION}) {
        fake.hook<Function::C_GetAttributeValue>(
            [length](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
                list[0].ulValueLen = list[0].pValue == nullptr ? 2 : length;
                return CK_RV{CKR_OK};
            });
        const Result result = read();
        expectOutputs(result, {errorIs("80f7"), countIs("0")});
        expectTraceAt(1, failed(kMethod, "C_GetAttributeValue", 0x05));
        ASSERT_EQ(fake.honest().C_FindObjectsFinal(1), CKR_OK);
    }
}

TEST_F(ReadData, aValueShorterThanAnnouncedIsTakenAsItIs) {
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        if (list[0].pValue == nullptr) {
            list[0].ulValueLen = 100;
        } else {
            *static_cast<CK_BYTE*>(list[0].pValue) = 0xA1;
            list[0].ulValueLen = 1;
        }
        return CK_RV{CKR_OK};
    });
    addCertificate("A1");

    const Result result = read();

    expectOutputs(result, {done(), countIs("1"), {"DATA1", 1, 2, "oQ=="}});
    EXPECT_EQ(calls().at(4), "C_GetAttributeValue(0x1, 0x101, [CKA_VALUE=room/100])");
}

TEST_F(ReadData, aLengthBeyondReasonAnswersAsWithoutMemory) {
    addCertificate("A1");
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        list[0].ulValueLen = 0x7FFFFFFF;
        return CK_RV{CKR_OK};
    });

    expectOutputs(read(), {errorIs("80f6"), countIs("0")});
    EXPECT_EQ(fake.callCount(Function::C_GetAttributeValue), 1U);
    expectTraceAt(1, failed(kMethod, "C_GetAttributeValue", 0x02));
}

TEST_F(ReadData, wideHandlesAreNotCut) {
    const auto session = static_cast<CK_SESSION_HANDLE>(0x8877665500000021ULL);
    const auto object = static_cast<CK_OBJECT_HANDLE>(0x1122334400000031ULL);
    fake.setNextSessionHandle(session);
    fake.setNextObjectHandle(object);
    addCertificate("A1");

    expectOutputs(read(), {done(), countIs("1"), {"DATA1", 1, 2, "oQ=="}});

    const std::string session0x = Fake::handleText(session);
    const std::string object0x = Fake::handleText(object);
    EXPECT_EQ(calls().at(3), "C_GetAttributeValue(" + session0x + ", " + object0x + ", [CKA_VALUE=null/0])");
    expectTraceAt(1, {});
}

TEST_F(ReadData, anEmptyValueIsAnEmptyOutput) {
    addCertificate("");

    const Result result = read();

    expectOutputs(result, {done(), countIs("1"), {"DATA1", 1, 2, ""}});
    expectTraceAt(1, {});
}

} // namespace
} // namespace Conformance::ReadDataTests
