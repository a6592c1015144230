// Certificates that "writeData" stores. The bytes stand for a certificate: nobody looks into them.

#include "tests/conformance/ObjectTest.h"
#include "tests/conformance/Repeated.h"

#include <algorithm>

namespace Conformance::WriteCertificateTests {

using Fake::Function;

namespace {

const std::string kScript = "writeData";
const std::string kMethod = "writeCertificate";

/// The head of every template that keeps the defaults, without the closing bracket.
const std::string kHead = "C_CreateObject(0x1, [CKA_CLASS=1 CKA_TOKEN=true CKA_PRIVATE=false CKA_CERTIFICATE_TYPE=0 "
                          "CKA_VALUE=3003020101";

Params certificate() {
    return Params()
        .plain("OBJ_TYPE", "CERTIFICATE")
        .plain("CERT_TYPE", "X_509")
        .base64("DATA", "MAMCAQE="); // 30 03 02 01 01
}

Trace complaint(const std::string& text) {
    return {{1, "PKCS11Client::writeCertificate: " + text}};
}

} // namespace

class WriteCertificate : public ObjectTest {
protected:
    /// Writes the certificate with these parameters behind the required ones; `tail` is what the template has behind
    /// the five fixed entries: " CKA_ID=01".
    void expectWritten(const Params& more, const std::string& tail, Where where = Where::current()) {
        expectError(execute(kScript, certificate().append(more)), "0", where);
        std::vector<std::string> actual = calls();
        const std::string expected = kHead + tail + "])";
        if (std::find(actual.begin(), actual.end(), expected) == actual.end()) {
            ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line()))
                << "no call " << expected << " in " << ::testing::PrintToString(actual);
        }
        EXPECT_EQ(fake.objects().size(), 1U);
        fake.removeAllObjects();
        forget();
    }
    /// Refused with 33004 and this one complaint; nothing but login and logout is called (checked for one login only).
    void expectRefused(const Params& params, const std::string& text, Where where = Where::current()) {
        fake.restartCallCount();
        expectError(execute(kScript, params), "80ec", where);
        expectTraceAt(1, complaint(text), where);
        EXPECT_EQ(fake.callCount(Function::C_CreateObject), 0U);
        EXPECT_EQ(fake.callCount(Function::C_Logout), 1U);
        EXPECT_TRUE(fake.objects().empty());
        forget();
    }
};

TEST_F(WriteCertificate, theLeastThatIsNeeded) {
    const Params params = certificate();

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({kHead + "])"}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + sessionCall(kMethod, "C_CreateObject", 1) +
                            in(kMethod, "ulAttCount", 5) +
                            typeLines(kMethod, {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_CERTIFICATE_TYPE, CKA_VALUE}) +
                            out(kMethod, "hObject", 0x101) + leave(kMethod) + logoutTrace(kScript, 1),
                        "0"));
    ASSERT_EQ(fake.objects().size(), 1U);
    EXPECT_EQ(fake.objects()[0].attributes.hexOf(CKA_VALUE), "3003020101");
}

TEST_F(WriteCertificate, everythingThatMayBeGiven) {
    const Params params = certificate()
                              .plain("TOKEN", "1")
                              .plain("PRIVATE", "1")
                              .plain("CERT_CATEGORY", "CA")
                              .plain("MODIFIABLE", "0")
                              .hex("LABEL", "616263")
                              .hex("SUBJECT", "3000")
                              .hex("ID", "00FF")
                              .hex("ISSUER", "3001")
                              .hex("SN", "020100");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({"C_CreateObject(0x1, [CKA_CLASS=1 CKA_TOKEN=true CKA_PRIVATE=true CKA_CERTIFICATE_TYPE=0 "
                          "CKA_VALUE=3003020101 CKA_CERTIFICATE_CATEGORY=2 CKA_MODIFIABLE=false CKA_LABEL=616263 "
                          "CKA_SUBJECT=3000 CKA_ID=00FF CKA_ISSUER=3001 CKA_SERIAL_NUMBER=020100])"}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + sessionCall(kMethod, "C_CreateObject", 1) +
                            in(kMethod, "ulAttCount", 12) +
                            typeLines(kMethod, {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_CERTIFICATE_TYPE, CKA_VALUE,
                                                CKA_CERTIFICATE_CATEGORY, CKA_MODIFIABLE, CKA_LABEL, CKA_SUBJECT,
                                                CKA_ID, CKA_ISSUER, CKA_SERIAL_NUMBER}) +
                            out(kMethod, "hObject", 0x101) + leave(kMethod) + logoutTrace(kScript, 1),
                        "0"));
}

TEST_F(WriteCertificate, optionalEntriesStandInTheOrderOfTheRequest) {
    expectWritten(Params()
                      .hex("SN", "05")
                      .hex("ISSUER", "06")
                      .hex("ID", "07")
                      .hex("SUBJECT", "08")
                      .hex("LABEL", "09")
                      .plain("MODIFIABLE", "1")
                      .plain("CERT_CATEGORY", "USER"),
                  " CKA_SERIAL_NUMBER=05 CKA_ISSUER=06 CKA_ID=07 CKA_SUBJECT=08 CKA_LABEL=09 CKA_MODIFIABLE=true "
                  "CKA_CERTIFICATE_CATEGORY=1");
}

TEST_F(WriteCertificate, requiredParametersMayStandInAnyOrder) {
    const Params params = Params()
                              .hex("ID", "01")
                              .base64("DATA", "MAMCAQE=")
                              .plain("CERT_TYPE", "X_509")
                              .plain("OBJ_TYPE", "CERTIFICATE");
    expectOutputs(execute(kScript, params), {done()});
    expectCalls(loggedIn({kHead + " CKA_ID=01])"}));
}

struct CertificateRow {
    const char* name;
    const char* id;
    const char* value;
    const char* tail;
};

class WriteCertificateKeyword : public WriteCertificate, public ::testing::WithParamInterface<CertificateRow> {};

TEST_P(WriteCertificateKeyword, isSetOrNot) {
    expectWritten(Params().plain(GetParam().id, GetParam().value), GetParam().tail);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WriteCertificateKeyword,
    ::testing::Values(CertificateRow{"CategoryUser", "CERT_CATEGORY", "USER", " CKA_CERTIFICATE_CATEGORY=1"},
                      CertificateRow{"CategoryCa", "CERT_CATEGORY", "CA", " CKA_CERTIFICATE_CATEGORY=2"},
                      CertificateRow{"ModifiableOne", "MODIFIABLE", "1", " CKA_MODIFIABLE=true"},
                      CertificateRow{"ModifiableZero", "MODIFIABLE", "0", " CKA_MODIFIABLE=false"},
                      CertificateRow{"ModifiableTrueIsNotOne", "MODIFIABLE", "true", " CKA_MODIFIABLE=false"},
                      CertificateRow{"ModifiableEmpty", "MODIFIABLE", "", " CKA_MODIFIABLE=false"},
                      CertificateRow{"ModifiableZeroOne", "MODIFIABLE", "01", " CKA_MODIFIABLE=false"},
                      CertificateRow{"Label", "LABEL", "4142", " CKA_LABEL=4142"},
                      CertificateRow{"LabelEndsAtTheFirstZeroByte", "LABEL", "4142004344", " CKA_LABEL=4142"},
                      CertificateRow{"LabelThatBeginsWithZeroIsAnEmptyEntry", "LABEL", "0041", " CKA_LABEL=empty"},
                      CertificateRow{"LabelWithoutText", "LABEL", "", ""}, //
                      CertificateRow{"LabelNotHexadecimal", "LABEL", "xyz!", ""},
                      CertificateRow{"LabelOddDigits", "LABEL", "414", ""},
                      CertificateRow{"SubjectKeepsZeroBytes", "SUBJECT", "00410042", " CKA_SUBJECT=00410042"},
                      CertificateRow{"SubjectLowerCase", "SUBJECT", "abcdef", " CKA_SUBJECT=ABCDEF"},
                      CertificateRow{"SubjectEmpty", "SUBJECT", "", ""}, //
                      CertificateRow{"SubjectNotHexadecimal", "SUBJECT", "0g", ""},
                      CertificateRow{"IdKeepsZeroBytes", "ID", "0000", " CKA_ID=0000"}, //
                      CertificateRow{"IdEmpty", "ID", "", ""},                          //
                      CertificateRow{"IdNotHexadecimal", "ID", "id", ""},
                      CertificateRow{"IssuerKeepsZeroBytes", "ISSUER", "3000", " CKA_ISSUER=3000"},
                      CertificateRow{"IssuerEmpty", "ISSUER", "", ""}, //
                      CertificateRow{"IssuerNotHexadecimal", "ISSUER", "3", ""},
                      CertificateRow{"SerialNumberKeepsZeroBytes", "SN", "020100", " CKA_SERIAL_NUMBER=020100"},
                      CertificateRow{"SerialNumberEmpty", "SN", "", ""}, //
                      CertificateRow{"SerialNumberNotHexadecimal", "SN", "zz", ""},
                      CertificateRow{"OtherCaseIsAnotherKeyword", "label", "4142", ""},
                      CertificateRow{"UnknownKeywordsAreSkipped", "SENSITIVE", "1", ""}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(WriteCertificate, hexadecimalKeywordsAreTheTextAsItStandsWhateverTheEncoding) {
    expectWritten(Params().base64("ID", "4142").rawText("LABEL", "43"), " CKA_ID=4142 CKA_LABEL=43");
}

TEST_F(WriteCertificate, onlyOneMeansTrueForTokenAndPrivate) {
    const auto head = [](const char* token, const char* isPrivate) {
        return std::string("C_CreateObject(0x1, [CKA_CLASS=1 CKA_TOKEN=") + token + " CKA_PRIVATE=" + isPrivate +
               " CKA_CERTIFICATE_TYPE=0 CKA_VALUE=3003020101])";
    };
    const auto created = [this](const Params& more) {
        expectError(execute(kScript, certificate().append(more)), "0");
        for (const std::string& line : calls()) {
            if (line.starts_with("C_CreateObject")) {
                return line;
            }
        }
        return std::string("none");
    };

    EXPECT_EQ(created(Params().plain("TOKEN", "1")), head("true", "false"));
    EXPECT_EQ(created(Params().plain("TOKEN", "0")), head("false", "false"));
    EXPECT_EQ(created(Params().plain("TOKEN", "true")), head("false", "false"));
    EXPECT_EQ(created(Params().plain("TOKEN", "")), head("false", "false"));
    EXPECT_EQ(created(Params().plain("PRIVATE", "1")), head("true", "true"));
    EXPECT_EQ(created(Params().plain("PRIVATE", "TRUE")), head("true", "false"));
    EXPECT_EQ(created(Params().plain("PRIVATE", "1").plain("TOKEN", "0")), head("false", "true"));
    EXPECT_EQ(created(Params().plain("TOKEN", "0").plain("TOKEN", "1")), head("true", "false"));
}

TEST_F(WriteCertificate, withTokenZeroItIsASessionObject) {
    expectError(execute(kScript, certificate().plain("TOKEN", "0")), "0");
    ASSERT_EQ(fake.objects().size(), 1U);
    EXPECT_EQ(fake.objects()[0].attributes.booleanOf(CKA_TOKEN), false);
}

TEST_F(WriteCertificate, theDataIsBase64WhateverTheEncoding) {
    expectError(
        execute(kScript,
                Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509").plain("DATA", "MAMCAQE=")),
        "0");
    expectCalls(loggedIn({kHead + "])"}));
}

TEST_F(WriteCertificate, theDataMayHoldZeroBytes) {
    const Params params =
        Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509").bytes("DATA", "000102000000");
    expectError(execute(kScript, params), "0");
    expectCalls(loggedIn({"C_CreateObject(0x1, [CKA_CLASS=1 CKA_TOKEN=true CKA_PRIVATE=false CKA_CERTIFICATE_TYPE=0 "
                          "CKA_VALUE=000102000000])"}));
}

TEST_F(WriteCertificate, aLargeCertificateIsWrittenWhole) {
    std::string hexText;
    for (int i = 0; i < 70000; ++i) {
        hexText += textf("%02X", static_cast<unsigned>(i * 7 % 256));
    }
    expectError(
        execute(kScript, Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509").bytes("DATA", hexText)),
        "0");
    ASSERT_EQ(fake.objects().size(), 1U);
    EXPECT_TRUE(fake.objects()[0].attributes.hexOf(CKA_VALUE) == hexText);
}

TEST_F(WriteCertificate, anotherTypeThanX509IsRefused) {
    for (const std::string type : {"x_509", "X509", "", "WTLS"}) {
        expectRefused(Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", type).base64("DATA", "MAMCAQE="),
                      "Bad parameter CERT_TYPE: " + type);
    }
}

TEST_F(WriteCertificate, aWrongTypeEndsItAtOnceEvenBehindARightOne) {
    expectRefused(certificate().plain("CERT_TYPE", "first").plain("CERT_TYPE", "second"),
                  "Bad parameter CERT_TYPE: first");
}

TEST_F(WriteCertificate, aWrongTypeIsToldBeforeMissingData) {
    expectRefused(Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_500"),
                  "Bad parameter CERT_TYPE: X_500");
}

TEST_F(WriteCertificate, aMissingTypeIsToldBeforeMissingData) {
    expectRefused(Params().plain("OBJ_TYPE", "CERTIFICATE"), "CERT_TYPE parameter not found");
}

TEST_F(WriteCertificate, withoutATypeItIsRefused) {
    expectRefused(Params().plain("OBJ_TYPE", "CERTIFICATE").base64("DATA", "MAMCAQE="),
                  "CERT_TYPE parameter not found");
}

TEST_F(WriteCertificate, withoutDataItIsRefusedAndTheWholeStoryIsTold) {
    const Params params = Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509");

    expectOutputs(execute(kScript, params), {errorIs("80ec")});

    expectCalls(loggedIn({}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + complaint("DATA parameter not found") + leave(kMethod) +
                            logoutTrace(kScript, 1),
                        "80ec"));
}

TEST_F(WriteCertificate, dataWithoutBytesCountsAsMissing) {
    for (const char* data : {"", "%%%%", "AQI", "A"}) {
        expectRefused(Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509").base64("DATA", data),
                      "DATA parameter not found");
    }
}

TEST_F(WriteCertificate, ofRepeatedDataTheLastThatDecodesCounts) {
    expectError(execute(kScript, Params()
                                     .plain("OBJ_TYPE", "CERTIFICATE")
                                     .plain("CERT_TYPE", "X_509")
                                     .base64("DATA", "AQI=")
                                     .base64("DATA", "MAMCAQE=")
                                     .base64("DATA", "%%")),
                "0");
    expectCalls(loggedIn({kHead + "])"}));
}

TEST_F(WriteCertificate, aBadCategoryIsToldAsABadType) {
    for (const std::string category : {"user", "AUTHORITY", "", "1", "TOKEN_USER"}) {
        expectRefused(certificate().plain("CERT_CATEGORY", category), "Bad parameter CERT_TYPE: " + category);
    }
}

TEST_F(WriteCertificate, aBadCategoryIsRefusedEvenBehindAGoodOne) {
    expectRefused(certificate().plain("CERT_CATEGORY", "CA").plain("CERT_CATEGORY", "none"),
                  "Bad parameter CERT_TYPE: none");
}

TEST_F(WriteCertificate, missingDataIsToldBeforeABadCategory) {
    expectRefused(Params().plain("OBJ_TYPE", "CERTIFICATE").plain("CERT_TYPE", "X_509").plain("CERT_CATEGORY", "none"),
                  "DATA parameter not found");
}

TEST_F(WriteCertificate, aRefusedObjectIsToldWithItsCode) {
    fake.answerNext(Function::C_CreateObject, CKR_TEMPLATE_INCOMPLETE);
    const Params params = certificate();

    expectOutputs(execute(kScript, params), {errorIs("8105")});

    expectCalls(loggedIn({kHead + "])"}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + sessionCall(kMethod, "C_CreateObject", 1) +
                            in(kMethod, "ulAttCount", 5) +
                            typeLines(kMethod, {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_CERTIFICATE_TYPE, CKA_VALUE}) +
                            failed(kMethod, "C_CreateObject", CKR_TEMPLATE_INCOMPLETE) + leave(kMethod) +
                            logoutTrace(kScript, 1),
                        "8105"));
}

TEST_F(WriteCertificate, aModuleWithoutTheFunctionDoesNotSupportIt) {
    fake.setNullEntry(Function::C_CreateObject);
    expectError(execute(kScript, certificate()), "80f4");
    expectTraceAt(1, failed(kMethod, "C_CreateObject", CKR_FUNCTION_NOT_SUPPORTED));
    expectCalls(loggedIn({}));
}

TEST_F(WriteCertificate, aRepeatedKeywordAppendsAnotherEntry) {
    fake.answerNext(Function::C_CreateObject, CKR_OK);
    const Params params = certificate()
                              .hex("LABEL", "41")
                              .hex("ID", "01")
                              .hex("LABEL", "4243")
                              .plain("MODIFIABLE", "0")
                              .hex("ID", "02")
                              .plain("MODIFIABLE", "1");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({kHead + " CKA_LABEL=41 CKA_ID=01 CKA_LABEL=4243 CKA_MODIFIABLE=false CKA_ID=02 "
                                  "CKA_MODIFIABLE=true])"}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + sessionCall(kMethod, "C_CreateObject", 1) +
                            in(kMethod, "ulAttCount", 11) +
                            typeLines(kMethod, {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_CERTIFICATE_TYPE, CKA_VALUE,
                                                CKA_LABEL, CKA_ID, CKA_LABEL, CKA_MODIFIABLE, CKA_ID, CKA_MODIFIABLE}) +
                            out(kMethod, "hObject", 0) + leave(kMethod) + logoutTrace(kScript, 1),
                        "0"));
}

TEST_F(WriteCertificate, aTokenThatTakesNoAttributeTwiceHasItsSay) {
    expectOutputs(execute(kScript, certificate().hex("ID", "01").hex("ID", "01")), {errorIs("8106")});
    expectCalls(loggedIn({kHead + " CKA_ID=01 CKA_ID=01])"}));
    expectTraceAt(1, failed(kMethod, "C_CreateObject", CKR_TEMPLATE_INCONSISTENT));
    EXPECT_TRUE(fake.objects().empty());
}

TEST_F(WriteCertificate, twelveEntriesFit) {
    fake.answerNext(Function::C_CreateObject, CKR_OK);
    Params params = certificate();
    std::string tail;
    for (const char* id : {"01", "02", "03", "04", "05", "06", "07"}) {
        params.hex("ID", id);
        tail += std::string(" CKA_ID=") + id;
    }
    expectOutputs(execute(kScript, params), {done()});
    expectCalls(loggedIn({kHead + tail + "])"}));
}

TEST_F(WriteCertificate, aFullTemplateTakesWhatNeedsNoNewEntry) {
    fake.answerNext(Function::C_CreateObject, CKR_OK);
    Params params = certificate().append(repeated(7, "MODIFIABLE", "1"));
    params.hex("LABEL", "").hex("LABEL", "Z").hex("SUBJECT", "4").hex("ID", "").hex("ISSUER", "").hex("SN", "x");
    params.append(repeated(50, "TOKEN", "1")).append(repeated(50, "PRIVATE", "0"));
    params.plain("TOKEN", "0").plain("PRIVATE", "1");
    expectOutputs(execute(kScript, params), {done()});
    expectCalls(loggedIn({"C_CreateObject(0x1, [CKA_CLASS=1 CKA_TOKEN=false CKA_PRIVATE=true CKA_CERTIFICATE_TYPE=0 "
                          "CKA_VALUE=3003020101" +
                          repeatedEntry(7, "CKA_MODIFIABLE=true") + "])"}));
}

TEST_F(WriteCertificate, aThirteenthEntryIsABadParameterWhateverItsKeyword) {
    const Params full = certificate().append(repeated(7, "ID", "01"));
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"LABEL", "4142"}, {"SUBJECT", "0a"},    {"ID", "01"},           {"ISSUER", "3000"},
        {"SN", "05"},      {"MODIFIABLE", "no"}, {"CERT_CATEGORY", "CA"}};
    for (const auto& [id, value] : rows) {
        expectRefused(Params(full).plain(id, value).hex("SN", "07"), "Bad parameter " + id + ": " + value);
    }
    expectRefused(Params(full).plain("CERT_CATEGORY", "none"), "Bad parameter CERT_TYPE: none");
}

TEST_F(WriteCertificate, aThirteenthEntryIsToldInTheWholeTraceAndTheUserIsLoggedOut) {
    Params params = certificate();
    for (int i = 0; i < 8; ++i) {
        params.hex("SN", textf("%02x", static_cast<unsigned>(i + 10)));
    }
    expectOutputs(execute(kScript, params), {errorIs("80ec")});
    expectCalls(loggedIn({}));
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + entry(kMethod) + complaint("Bad parameter SN: 11") + leave(kMethod) +
                            logoutTrace(kScript, 1),
                        "80ec"));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(WriteCertificate, manyRepetitionsEndAtTheFirstThatFindsNoRoom) {
    Params params = certificate();
    for (int i = 0; i < 100; ++i) {
        const std::string value = textf("%02X", static_cast<unsigned>(i + 1));
        params.hex("LABEL", value).hex("SUBJECT", value).hex("ID", value).hex("ISSUER", value).hex("SN", value);
        params.plain("MODIFIABLE", "1").plain("CERT_CATEGORY", "USER").plain("TOKEN", "1").plain("PRIVATE", "0");
    }
    expectRefused(params, "Bad parameter LABEL: 02");
}

TEST_F(WriteCertificate, theBytesOfTheCertificateAndItsAttributesAreNotTraced) {
    expectError(execute(kScript, certificate().hex("ID", "C0FFEE")), "0");
    for (const TraceLine& line : trace().lines) {
        EXPECT_EQ(line.dump, std::nullopt) << line.text;
        EXPECT_EQ(line.text.find("C0FFEE"), std::string::npos) << line.text;
        EXPECT_EQ(line.text.find("MAMCAQE"), std::string::npos) << line.text;
    }
}

} // namespace Conformance::WriteCertificateTests
