// Reading public keys.

#include "tests/conformance/Repeated.h"
#include "tests/conformance/SearchTrace.h"

namespace Conformance::ReadKeyTests {

using Fake::Function;

namespace {

const std::string kScript = "readData";
const std::string kMethod = "readKey";
const SearchEntry kClassEntry = {0x00, numberDump(2)};

Trace badParameter(const std::string& text) {
    return {{1, "PKCS11Client::readKey: Bad parameter " + text}};
}

Params keyPair() {
    return Params().plain("OBJ_TYPE", "KEY_PAIR");
}

/// C_GetAttributeValue as announced, for both attributes at once.
Trace askedBoth(CK_OBJECT_HANDLE object) {
    return sessionCall(kMethod, "C_GetAttributeValue", 1) + in(kMethod, "hObject", object) +
           in(kMethod, "Template[0].type", 0x120) + in(kMethod, "Template[1].type", 0x122);
}

Trace bothRead(CK_OBJECT_HANDLE object, const std::string& modulus, const std::string& exponent) {
    return askedBoth(object) + askedBoth(object) + out(kMethod, "Template[0].type", 0x120) +
           Trace{valueLine(kMethod, "<-- Template[0].value=", modulus)} + out(kMethod, "Template[1].type", 0x122) +
           Trace{valueLine(kMethod, "<-- Template[1].value=", exponent)};
}

class ReadKey : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        startWithReader();
    }

    Result read(const Params& terms = Params()) { return execute(kScript, keyPair().append(terms)); }

    CK_OBJECT_HANDLE addKey(const std::string& modulusHex, const std::string& exponentHex) {
        return fake.addObject(Fake::Attributes()
                                  .number(CKA_CLASS, CKO_PUBLIC_KEY)
                                  .number(CKA_KEY_TYPE, CKK_RSA)
                                  .hex(CKA_MODULUS, modulusHex)
                                  .hex(CKA_PUBLIC_EXPONENT, exponentHex));
    }
    CK_OBJECT_HANDLE addEllipticKey() {
        return fake.addObject(Fake::Attributes().number(CKA_CLASS, CKO_PUBLIC_KEY).number(CKA_KEY_TYPE, CKK_EC));
    }

    static Trace framed(const Params& params, const Trace& inner, const Result& result) {
        return executeTrace(kScript, params.ids(), openSessionTrace(0, 1) + entry(kMethod) + inner + leave(kMethod),
                            result);
    }

    std::string searched(const Params& terms) {
        expectOutputs(read(terms), {done(), countIs("0")});
        for (const std::string& line : calls()) {
            if (line.starts_with("C_FindObjectsInit(0x1, ")) {
                return line.substr(23, line.size() - 24);
            }
        }
        return "no search";
    }
};

TEST_F(ReadKey, modulusAndExponentOfEveryKeyInTurn) {
    addKey("A1A2", "010001");
    addKey("B1B2", "03");
    addKey("C1C2", "010001");
    fake.addObject(Fake::Attributes().number(CKA_CLASS, CKO_PRIVATE_KEY).hex(CKA_MODULUS, "D1"));
    fake.addObject(Fake::Attributes().number(CKA_CLASS, CKO_CERTIFICATE));

    const Result result = read();

    expectOutputs(result, {done(),
                           countIs("3"),
                           {"MODULUS1", 1, 2, "oaI="},
                           {"PUBLICEXPONENT1", 1, 2, "AQAB"},
                           {"MODULUS2", 1, 2, "sbI="},
                           {"PUBLICEXPONENT2", 1, 2, "Aw=="},
                           {"MODULUS3", 1, 2, "wcI="},
                           {"PUBLICEXPONENT3", 1, 2, "AQAB"}});
    expectCalls({"C_OpenSession(0x11, flags=0x4)", "C_FindObjectsInit(0x1, [CKA_CLASS=2])", "C_FindObjects(0x1, max=1)",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0 CKA_PUBLIC_EXPONENT=null/0])",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=room/2 CKA_PUBLIC_EXPONENT=room/3])",
                 "C_FindObjects(0x1, max=1)",
                 "C_GetAttributeValue(0x1, 0x102, [CKA_MODULUS=null/0 CKA_PUBLIC_EXPONENT=null/0])",
                 "C_GetAttributeValue(0x1, 0x102, [CKA_MODULUS=room/2 CKA_PUBLIC_EXPONENT=room/1])",
                 "C_FindObjects(0x1, max=1)",
                 "C_GetAttributeValue(0x1, 0x103, [CKA_MODULUS=null/0 CKA_PUBLIC_EXPONENT=null/0])",
                 "C_GetAttributeValue(0x1, 0x103, [CKA_MODULUS=room/2 CKA_PUBLIC_EXPONENT=room/3])",
                 "C_FindObjects(0x1, max=1)", "C_FindObjectsFinal(0x1)"});
    expectTrace(framed(keyPair(),
                       searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                           bothRead(0x101, "A1A2", "010001") + foundTrace(kMethod, 1, 0x102) +
                           bothRead(0x102, "B1B2", "03") + foundTrace(kMethod, 1, 0x103) +
                           bothRead(0x103, "C1C2", "010001") + foundNothing(kMethod, 1) + searchEnd(kMethod, 1),
                       result));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(ReadKey, noMatchIsASuccessWithCountZero) {
    const Result result = read();

    expectOutputs(result, {done(), countIs("0")});
    expectTrace(framed(
        keyPair(), searchTrace(kMethod, 1, {kClassEntry}) + foundNothing(kMethod, 1) + searchEnd(kMethod, 1), result));
}

TEST_F(ReadKey, theCountIsHexadecimalAndTheRunningNumbersAreDecimal) {
    for (int i = 0; i < 17; ++i) {
        addKey("A1", "03");
    }

    const Result result = read();

    ASSERT_EQ(result.outputs.size(), 36U);
    EXPECT_EQ(result.value("COUNT"), "11");
    EXPECT_EQ(result.outputs.at(34), (Output{"MODULUS17", 1, 2, "oQ=="}));
    EXPECT_EQ(result.outputs.at(35), (Output{"PUBLICEXPONENT17", 1, 2, "Aw=="}));
}

TEST_F(ReadKey, withoutAlgorithmKeysThatAreNotRsaAreFoundTooAndEndTheRead) {
    addKey("A1A2", "03");
    addEllipticKey();
    addKey("B1B2", "03");

    const Result result = read();

    expectOutputs(result,
                  {errorIs("80f9"), countIs("0"), {"MODULUS1", 1, 2, "oaI="}, {"PUBLICEXPONENT1", 1, 2, "Aw=="}});
    expectTrace(framed(keyPair(),
                       searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                           bothRead(0x101, "A1A2", "03") + foundTrace(kMethod, 1, 0x102) + askedBoth(0x102) +
                           failed(kMethod, "C_GetAttributeValue", 0x12),
                       result));
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
}

TEST_F(ReadKey, keysThatAreNotRsaButHaveTheAttributesAreReturned) {
    fake.addObject(Fake::Attributes()
                       .number(CKA_CLASS, CKO_PUBLIC_KEY)
                       .number(CKA_KEY_TYPE, CKK_EC)
                       .hex(CKA_MODULUS, "A1")
                       .hex(CKA_PUBLIC_EXPONENT, "03"));

    expectOutputs(read(), {done(), countIs("1"), {"MODULUS1", 1, 2, "oQ=="}, {"PUBLICEXPONENT1", 1, 2, "Aw=="}});
}

TEST_F(ReadKey, withTheAlgorithmOnlyRsaKeysAreRead) {
    addEllipticKey();
    addKey("A1", "03");
    const Params params = keyPair().plain("ALGOID", kRsa);

    const Result result = execute(kScript, params);

    expectOutputs(result, {done(), countIs("1"), {"MODULUS1", 1, 2, "oQ=="}, {"PUBLICEXPONENT1", 1, 2, "Aw=="}});
    expectTrace(framed(params,
                       searchTrace(kMethod, 1, {kClassEntry, {0x100, numberDump(0)}}) + foundTrace(kMethod, 1, 0x102) +
                           bothRead(0x102, "A1", "03") + foundNothing(kMethod, 1) + searchEnd(kMethod, 1),
                       result));
}

// The search template

struct KeyTermRow {
    const char* name;
    Params params;
    std::string searched;
};

class ReadKeyTerm : public ReadKey, public ::testing::WithParamInterface<KeyTermRow> {};

TEST_P(ReadKeyTerm, isAppended) {
    EXPECT_EQ(searched(GetParam().params), GetParam().searched);
}

INSTANTIATE_TEST_SUITE_P(
    Keywords, ReadKeyTerm,
    ::testing::Values(
        KeyTermRow{"none", Params(), "[CKA_CLASS=2]"},
        KeyTermRow{"algorithm", Params().plain("ALGOID", kRsa), "[CKA_CLASS=2 CKA_KEY_TYPE=0]"},
        KeyTermRow{"algorithmWhateverTheEncoding", Params().add("ALGOID", 1, 2, kRsa), "[CKA_CLASS=2 CKA_KEY_TYPE=0]"},
        KeyTermRow{"label", Params().hex("LABEL", "4142"), "[CKA_CLASS=2 CKA_LABEL=4142]"},
        KeyTermRow{"labelUpToTheFirstZero", Params().hex("LABEL", "410042"), "[CKA_CLASS=2 CKA_LABEL=41]"},
        KeyTermRow{"labelBeginningWithZero", Params().hex("LABEL", "00"), "[CKA_CLASS=2 CKA_LABEL=empty]"},
        KeyTermRow{"subject", Params().hex("SUBJECT", "3000"), "[CKA_CLASS=2 CKA_SUBJECT=3000]"},
        KeyTermRow{"id", Params().hex("ID", "00ff"), "[CKA_CLASS=2 CKA_ID=00FF]"},
        KeyTermRow{"token", Params().plain("TOKEN", "1"), "[CKA_CLASS=2 CKA_TOKEN=true]"},
        KeyTermRow{"private", Params().plain("PRIVATE", "1"), "[CKA_CLASS=2 CKA_PRIVATE=true]"},
        KeyTermRow{"modifiable", Params().plain("MODIFIABLE", "1"), "[CKA_CLASS=2 CKA_MODIFIABLE=true]"},
        KeyTermRow{"onlyExactlyOneIsTrue",
                   Params().plain("TOKEN", "TRUE").plain("PRIVATE", "11").plain("MODIFIABLE", ""),
                   "[CKA_CLASS=2 CKA_TOKEN=false CKA_PRIVATE=false CKA_MODIFIABLE=false]"},
        KeyTermRow{"inTheOrderOfTheRequest",
                   Params()
                       .plain("MODIFIABLE", "0")
                       .plain("PRIVATE", "0")
                       .plain("TOKEN", "1")
                       .hex("ID", "03")
                       .hex("SUBJECT", "02")
                       .hex("LABEL", "01")
                       .plain("ALGOID", kRsa),
                   "[CKA_CLASS=2 CKA_MODIFIABLE=false CKA_PRIVATE=false CKA_TOKEN=true CKA_ID=03 CKA_SUBJECT=02 "
                   "CKA_LABEL=01 CKA_KEY_TYPE=0]"},
        KeyTermRow{"keywordsOfCertificatesAreIgnored",
                   Params()
                       .hex("ISSUER", "01")
                       .hex("SN", "02")
                       .plain("CERT_CATEGORY", "nonsense")
                       .plain("KEYSIZE", "1")
                       .plain("PRIVATE_PUK", "1")
                       .hex("Id", "01"),
                   "[CKA_CLASS=2]"},
        KeyTermRow{"whatDoesNotDecodeIsSkipped", Params().hex("SUBJECT", "").hex("ID", "Z").hex("SUBJECT", "123"),
                   "[CKA_CLASS=2]"}),
    [](const auto& row) { return row.param.name; });

TEST_F(ReadKey, anUndecodableLabelKeepsTheTypeThatItsPlaceIsPresetTo) {
    struct Place {
        const char* preset;
        const char* nextId; ///< the keyword that moves the label one place on
        const char* nextValue;
        const char* nextEntry;
    };
    Params before;
    std::string entries = "[CKA_CLASS=2";
    for (const Place& place : std::vector<Place>{{"CKA_TOKEN", "ALGOID", kRsa, " CKA_KEY_TYPE=0"},
                                                 {"CKA_PRIVATE", "MODIFIABLE", "1", " CKA_MODIFIABLE=true"},
                                                 {"CKA_KEY_TYPE", "PRIVATE", "0", " CKA_PRIVATE=false"},
                                                 {"CKA_MODIFIABLE", "TOKEN", "1", " CKA_TOKEN=true"},
                                                 {"CKA_LABEL", "ID", "03", " CKA_ID=03"},
                                                 {"CKA_SUBJECT", "SUBJECT", "02", " CKA_SUBJECT=02"},
                                                 {"CKA_ID", "", "", ""}}) {
        EXPECT_EQ(searched(Params().append(before).hex("LABEL", "")), entries + " " + place.preset + "=null/0]");
        before.plain(place.nextId, place.nextValue);
        entries += place.nextEntry;
    }
}

TEST_F(ReadKey, anUndecodableLabelIsTracedWithADumpOfNoBytes) {
    const Params params = keyPair().hex("LABEL", "Z").hex("ID", "01");

    const Result result = execute(kScript, params);

    expectTrace(framed(params,
                       searchTrace(kMethod, 1, {kClassEntry, {0x01, ""}, {0x102, "01"}}) + foundNothing(kMethod, 1) +
                           searchEnd(kMethod, 1),
                       result));
}

TEST_F(ReadKey, aRepeatedKeywordAppendsAnotherEntry) {
    EXPECT_EQ(searched(Params().hex("ID", "01").plain("TOKEN", "1").hex("ID", "0203").plain("TOKEN", "0")),
              "[CKA_CLASS=2 CKA_ID=01 CKA_TOKEN=true CKA_ID=0203 CKA_TOKEN=false]");
    EXPECT_EQ(searched(Params().plain("ALGOID", kRsa).plain("ALGOID", kRsa)),
              "[CKA_CLASS=2 CKA_KEY_TYPE=0 CKA_KEY_TYPE=0]");
    EXPECT_EQ(searched(Params().hex("LABEL", "?").hex("LABEL", "41").hex("LABEL", "?")),
              "[CKA_CLASS=2 CKA_TOKEN=null/0 CKA_LABEL=41 CKA_KEY_TYPE=null/0]");
}

TEST_F(ReadKey, eightEntriesFit) {
    Params ids;
    std::string entries = "[CKA_CLASS=2";
    for (const char* id : {"01", "02", "03", "04", "05", "06", "07"}) {
        ids.hex("ID", id);
        entries += std::string(" CKA_ID=") + id;
    }
    EXPECT_EQ(searched(ids), entries + "]");
    // What sets no entry needs no room.
    EXPECT_EQ(searched(Params(ids).hex("SUBJECT", "").hex("ID", "4").hex("SN", "05")), entries + "]");
}

TEST_F(ReadKey, sevenUnreadableLabelsFillTheTemplateWithEveryPresetType) {
    EXPECT_EQ(searched(repeated(7, "LABEL", "")),
              "[CKA_CLASS=2 CKA_TOKEN=null/0 CKA_PRIVATE=null/0 CKA_KEY_TYPE=null/0 "
              "CKA_MODIFIABLE=null/0 CKA_LABEL=null/0 CKA_SUBJECT=null/0 CKA_ID=null/0]");
}

TEST_F(ReadKey, aNinthEntryIsABadParameterWhateverItsKeyword) {
    const Params seven = repeated(7, "ID", "01");
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"ALGOID", kRsa}, {"LABEL", "4142"}, {"LABEL", ""},    {"LABEL", "?"},       {"SUBJECT", "0a"},
        {"ID", "01"},     {"TOKEN", "1"},    {"PRIVATE", "0"}, {"MODIFIABLE", "yes"}};
    for (const auto& [id, value] : rows) {
        expectOutputs(read(Params(seven).plain(id, value).plain("ALGOID", "never reached")), {errorIs("80ec")});
        expectTraceAt(1, badParameter(id + ": " + value));
    }
    EXPECT_EQ(fake.callCount(Function::C_FindObjectsInit), 0U);
}

TEST_F(ReadKey, aNinthEntryIsToldInTheWholeTraceAndTheSessionStaysOpen) {
    addKey("A1A2", "03");
    const Params params = keyPair().append(repeated(8, "ALGOID", kRsa));

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(framed(params, badParameter("ALGOID: " + std::string(kRsa)), result));
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(ReadKey, manyRepetitionsEndAtTheFirstThatFindsNoRoom) {
    Params terms;
    for (int i = 0; i < 1000; ++i) {
        terms.hex("LABEL", "4142").hex("LABEL", "?").hex("ID", "0102").plain("TOKEN", "1").plain("ALGOID", kRsa);
        terms.plain("PRIVATE", "0").plain("MODIFIABLE", "1").hex("SUBJECT", "07");
    }
    expectOutputs(read(terms), {errorIs("80ec")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTraceAt(1, badParameter("SUBJECT: 07"));
}

TEST_F(ReadKey, anotherAlgorithmIsABadParameter) {
    const Params params = keyPair().hex("LABEL", "41").plain("ALGOID", "1.2.840.10045.2.1").hex("ID", "01");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({"C_OpenSession(0x11, flags=0x4)"});
    expectTrace(framed(params, badParameter("ALGOID: 1.2.840.10045.2.1"), result));
}

TEST_F(ReadKey, algorithmsAreComparedExactly) {
    for (const char* algorithm : {"", "RSA", "1.2.840.113549.1.1.1 ", "1.2.840.113549.1.1.11"}) {
        expectOutputs(read(Params().plain("ALGOID", algorithm)), {errorIs("80ec")});
        expectTraceAt(1, badParameter(std::string("ALGOID: ") + algorithm));
    }
}

// Failures of the token

TEST_F(ReadKey, aSearchThatCannotBeginGivesNoCount) {
    fake.answerNext(Function::C_FindObjectsInit, CKR_USER_NOT_LOGGED_IN);

    const Result result = read();

    expectOutputs(result, {errorIs("80f0")});
    expectTrace(framed(keyPair(), searchTrace(kMethod, 1, {kClassEntry}) + failed(kMethod, "C_FindObjectsInit", 0x101),
                       result));
}

TEST_F(ReadKey, aFailingFindLeavesTheSearchOpenAndKeepsThePairsPushed) {
    addKey("A1", "03");
    fake.passNext(Function::C_FindObjects);
    fake.answerNext(Function::C_FindObjects, CKR_DEVICE_ERROR);

    const Result result = read();

    expectOutputs(result,
                  {errorIs("80fa"), countIs("0"), {"MODULUS1", 1, 2, "oQ=="}, {"PUBLICEXPONENT1", 1, 2, "Aw=="}});
    expectTrace(framed(keyPair(),
                       searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                           bothRead(0x101, "A1", "03") + askedNext(kMethod, 1) + failed(kMethod, "C_FindObjects", 0x30),
                       result));
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
    forget();

    expectOutputs(read(), {errorIs("80f5")});
    expectCalls({"C_GetSessionInfo(0x1)", "C_FindObjectsInit(0x1, [CKA_CLASS=2])"});
}

TEST_F(ReadKey, aFailingSecondPassPushesNothing) {
    addKey("A1", "03");
    fake.passNext(Function::C_GetAttributeValue);
    fake.answerNext(Function::C_GetAttributeValue, CKR_DEVICE_MEMORY, 1, Fake::When::After);

    const Result result = read();

    expectOutputs(result, {errorIs("80f6"), countIs("0")});
    expectTrace(framed(keyPair(),
                       searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) + askedBoth(0x101) +
                           askedBoth(0x101) + failed(kMethod, "C_GetAttributeValue", 0x31),
                       result));
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
}

TEST_F(ReadKey, aSearchThatCannotEndGivesItsCodeAndTheTotal) {
    addKey("A1", "03");
    fake.answerNext(Function::C_FindObjectsFinal, CKR_DEVICE_ERROR, 1, Fake::When::After);

    const Result result = read();

    expectOutputs(result,
                  {errorIs("80fa"), countIs("1"), {"MODULUS1", 1, 2, "oQ=="}, {"PUBLICEXPONENT1", 1, 2, "Aw=="}});
    expectTrace(framed(keyPair(),
                       searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                           bothRead(0x101, "A1", "03") + foundNothing(kMethod, 1) + searchEnd(kMethod, 1) +
                           failed(kMethod, "C_FindObjectsFinal", 0x30),
                       result));
}

TEST_F(ReadKey, missingFunctionsAnswerAsNotSupported) {
    fake.setNullEntry(Function::C_GetAttributeValue);
    addKey("A1", "03");

    expectOutputs(read(), {errorIs("80f4"), countIs("0")});
    expectTraceAt(1, failed(kMethod, "C_GetAttributeValue", 0x54));
}

// Hostile answers

TEST_F(ReadKey, aLengthThatIsNoneIsAGeneralErrorWhicheverOfBothHasIt) {
    for (const int bad : {0, 1}) {
        addKey("A1", "03");
        fake.hook<Function::C_GetAttributeValue>(
            [bad](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
                list[0].ulValueLen = 1;
                list[1].ulValueLen = 1;
                list[bad].ulValueLen = CK_UNAVAILABLE_INFORMATION;
                return CK_RV{CKR_OK};
            });
        expectOutputs(read(), {errorIs("80f7"), countIs("0")});
        EXPECT_EQ(fake.callCount(Function::C_GetAttributeValue), static_cast<unsigned long>(bad) + 1);
        expectTraceAt(1, failed(kMethod, "C_GetAttributeValue", 0x05));
        ASSERT_EQ(fake.honest().C_FindObjectsFinal(1), CKR_OK);
    }
}

TEST_F(ReadKey, aLengthBeyondItsBufferIsAGeneralErrorWhicheverOfBothHasIt) {
    addKey("A1", "03");
    for (const int bad : {0, 1}) {
        fake.hook<Function::C_GetAttributeValue>(
            [bad](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
                const bool second = list[0].pValue != nullptr;
                list[0].ulValueLen = 4;
                list[1].ulValueLen = 4;
                list[bad].ulValueLen = second ? 5 : 4;
                return CK_RV{CKR_OK};
            });
        expectOutputs(read(), {errorIs("80f7"), countIs("0")});
        expectTraceAt(1, failed(kMethod, "C_GetAttributeValue", 0x05));
        ASSERT_EQ(fake.honest().C_FindObjectsFinal(1), CKR_OK);
    }
}

TEST_F(ReadKey, numbersOfNoBytesAreEmptyOutputs) {
    addKey("A1", "03");
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        list[0].ulValueLen = 0;
        list[1].ulValueLen = 0;
        return CK_RV{CKR_OK};
    });

    const Result result = read();

    expectOutputs(result, {done(), countIs("1"), {"MODULUS1", 1, 2, ""}, {"PUBLICEXPONENT1", 1, 2, ""}});
    expectCalls({"C_OpenSession(0x11, flags=0x4)", "C_FindObjectsInit(0x1, [CKA_CLASS=2])", "C_FindObjects(0x1, max=1)",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0 CKA_PUBLIC_EXPONENT=null/0])",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=room/0 CKA_PUBLIC_EXPONENT=room/0])",
                 "C_FindObjects(0x1, max=1)", "C_FindObjectsFinal(0x1)"});
    expectTrace(framed(keyPair(),
                       searchTrace(kMethod, 1, {kClassEntry}) + foundTrace(kMethod, 1, 0x101) +
                           bothRead(0x101, "", "") + foundNothing(kMethod, 1) + searchEnd(kMethod, 1),
                       result));
}

TEST_F(ReadKey, aCountAboveOneIsTakenAsOne) {
    addKey("A1", "03");
    overstateFinds(CK_UNAVAILABLE_INFORMATION);

    expectOutputs(read(), {done(), countIs("1"), {"MODULUS1", 1, 2, "oQ=="}, {"PUBLICEXPONENT1", 1, 2, "Aw=="}});
}

} // namespace
} // namespace Conformance::ReadKeyTests
