// Key pairs that the token generates.

#include "tests/conformance/Repeated.h"
#include "tests/conformance/SearchTrace.h"
#include "tests/fake/TemplateText.h"
#include "zel/ClientOperationException.h"

#include <algorithm>

namespace Conformance::GenerateKeyPairTests {

using Fake::Function;

namespace {

const std::string kScript = "generateKeyPair";
const std::string kHead = "PKCS11Client::generateKeyPair: ";

/// C0 01 02 … 7E 01: the scripted module's first modulus of 1024 bits.
const std::string kModulus =
    "wAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+P0BBQk"
    "NERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9fgE=";
const std::string kModulusHex =
    "C00102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F202122232425262728292A2B2C2D2E2F3031323334353637"
    "38393A3B3C3D3E3F404142434445464748494A4B4C4D4E4F505152535455565758595A5B5C5D5E5F606162636465666768696A6B6C6D6E6F"
    "707172737475767778797A7B7C7D7E01";
/// The same with 2048 bits: C0 01 02 … FE 01.
const std::string kLongModulus =
    "wAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+P0BBQkNERUZHSElKS0xNTk9QUVJT"
    "VFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9fn+AgYKDhIWGh4iJiouMjY6PkJGSk5SVlpeYmZqbnJ2en6ChoqOkpaan"
    "qKmqq6ytrq+wsbKztLW2t7i5uru8vb6/wMHCw8TFxsfIycrLzM3Oz9DR0tPU1dbX2Nna29zd3t/g4eLj5OXm5+jp6uvs7e7v8PHy8/T19vf4+fr7"
    "/P3+AQ==";

const std::string kPublicHead =
    "CKA_TOKEN=true CKA_PRIVATE=false CKA_KEY_TYPE=0 CKA_MODULUS_BITS=1024 CKA_PUBLIC_EXPONENT=010001";
const std::string kPrivateHead = "CKA_TOKEN=true CKA_PRIVATE=true CKA_KEY_TYPE=0";
const std::vector<CK_ATTRIBUTE_TYPE> kPublicTypes = {0x01, 0x02, 0x100, 0x121, 0x122};
const std::vector<CK_ATTRIBUTE_TYPE> kPrivateTypes = {0x01, 0x02, 0x100};

const std::vector<Output> kGenerated = {done(), {"MODULUS", 1, 2, kModulus}};

Trace failure(const std::string& text) {
    return {{1, kHead + text}};
}

Params required() {
    return Params().plain("ALGOID", kRsa).plain("KEYSIZE", "1024").base64("PUBLICEXPONENT", "AQAB");
}

std::string generateCall(const std::string& publicTail = "", const std::string& privateTail = "") {
    return "C_GenerateKeyPair(0x1, CKM_RSA_PKCS_KEY_PAIR_GEN, [" + kPublicHead + publicTail + "], [" + kPrivateHead +
           privateTail + "])";
}

const std::vector<std::string> kLoginCalls = {"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)",
                                              "C_Login(0x1, CKU_USER, 31323334)"};

std::vector<std::string> afterLogin(const std::vector<std::string>& further) {
    std::vector<std::string> calls = kLoginCalls;
    calls.insert(calls.end(), further.begin(), further.end());
    return calls;
}

Trace typeTrace(const char* list, const std::vector<CK_ATTRIBUTE_TYPE>& types) {
    Trace trace;
    int index = 0;
    for (const CK_ATTRIBUTE_TYPE type : types) {
        trace += in(kScript, std::string(list) + textf("Template[%d].type", index++), type);
    }
    return trace;
}

/// C_GenerateKeyPair as announced, with these types behind the fixed ones.
Trace announced(const std::vector<CK_ATTRIBUTE_TYPE>& publicTypes = kPublicTypes,
                const std::vector<CK_ATTRIBUTE_TYPE>& privateTypes = kPrivateTypes) {
    return sessionCall(kScript, "C_GenerateKeyPair", 1) + in(kScript, "Mechanism", 0) +
           typeTrace("Public", publicTypes) + typeTrace("Private", privateTypes);
}

Trace handlesTrace() {
    return out(kScript, "hPublicObject", 0x101) + out(kScript, "hPrivateObject", 0x102);
}

Trace modulusAsked() {
    return askedValue(kScript, 1, 0x101, 0x120);
}

Trace modulusRead() {
    return valueRead(kScript, 1, 0x101, 0x120, kModulusHex);
}

class GenerateKeyPair : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        startWithReader(Params().hex("PIN", "31323334"));
    }

    Result generate(const Params& keywords = Params()) { return execute(kScript, required().append(keywords)); }

    /// Leaves session 1 open and logged in, as a request without parameters does.
    void logIn() {
        expectOutputs(execute(kScript, Params()), {errorIs("80ec")});
        ASSERT_EQ(fake.login(), Fake::Role::User);
        forget();
    }

    /// All of `execute` around the lines of the script that follow its login.
    static Trace framed(const Params& params, const Trace& inner, const Result& result,
                        const Trace& login = loginAsUserTrace(1)) {
        return executeTrace(
            kScript, params.ids(),
            operationParameters(kScript, params.ids()) + readParametersTrace(params.ids()) + login + inner, result);
    }

    /// What C_GenerateKeyPair was given, with this answer in place of the token's work.
    std::string generated(const Params& keywords) {
        fake.answerNext(Function::C_GenerateKeyPair, CKR_DEVICE_ERROR);
        expectOutputs(generate(keywords), {errorIs("80fa")});
        for (const std::string& line : calls()) {
            if (line.starts_with("C_GenerateKeyPair")) {
                return line;
            }
        }
        return "nothing";
    }
};

TEST_F(GenerateKeyPair, logsInGeneratesReadsTheModulusAndLogsOut) {
    const Result result = generate();

    expectOutputs(result, kGenerated);
    expectCalls(afterLogin({generateCall(), "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0])",
                            "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=room/128])", "C_Logout(0x1)"}));
    expectTrace(framed(required(), announced() + handlesTrace() + modulusRead() + logoutTrace(kScript, 1), result));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(GenerateKeyPair, whoeverIsLoggedInStaysLoggedIn) {
    logIn();

    const Result result = generate();

    expectOutputs(result, kGenerated);
    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", generateCall(),
                 "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0])",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=room/128])"});
    expectTrace(framed(required(), announced() + handlesTrace() + modulusRead(), result, alreadyLoggedInTrace(1)));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

TEST_F(GenerateKeyPair, inAnUnknownStateNobodyIsLoggedInOrOut) {
    fake.setLogin(Fake::Role::User);
    fake.setSessionState(9);
    const Trace neither =
        entry("loginAsUser") + openSessionTrace(2, 1) + authenticatedUserTrace(1, 9) + leave("loginAsUser");

    const Result result = generate();

    expectOutputs(result, kGenerated);
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", generateCall(),
                 "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0])",
                 "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=room/128])"});
    expectTrace(framed(required(), announced() + handlesTrace() + modulusRead(), result, neither));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

TEST_F(GenerateKeyPair, inAnUnknownStateTheTokenSaysThatNobodyIsLoggedIn) {
    fake.setSessionState(9);

    expectOutputs(generate(), {errorIs("80f0")});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", generateCall()});
    expectTraceAt(1, failed(kScript, "C_GenerateKeyPair", 0x101));
}

TEST_F(GenerateKeyPair, keysOf2048Bits) {
    const Params params = Params().plain("ALGOID", kRsa).plain("KEYSIZE", "2048").base64("PUBLICEXPONENT", "Aw==");

    expectOutputs(execute(kScript, params), {done(), {"MODULUS", 1, 2, kLongModulus}});
    EXPECT_EQ(calls().at(3), "C_GenerateKeyPair(0x1, CKM_RSA_PKCS_KEY_PAIR_GEN, [CKA_TOKEN=true CKA_PRIVATE=false "
                             "CKA_KEY_TYPE=0 CKA_MODULUS_BITS=2048 CKA_PUBLIC_EXPONENT=03], [" +
                                 kPrivateHead + "])");
}

TEST_F(GenerateKeyPair, theOrderOfTheRequiredParametersDoesNotMatter) {
    const Params params = Params()
                              .plain("SIGN", "1")
                              .base64("PUBLICEXPONENT", "AQAB")
                              .plain("KEYSIZE", "1024")
                              .plain("VERIFY", "1")
                              .plain("ALGOID", kRsa);

    expectOutputs(execute(kScript, params), kGenerated);
    EXPECT_EQ(calls().at(3), generateCall(" CKA_VERIFY=true", " CKA_SIGN=true"));
}

TEST_F(GenerateKeyPair, thePinMayComeWithTheOperation) {
    plugin = Executor();
    startWithReader();

    expectOutputs(generate(Params().hex("PIN", "31323334")), kGenerated);
}

TEST_F(GenerateKeyPair, itReadsTheAccessValuesOfItsRequestItself) {
    plugin = Executor();
    startWithReader();

    expectOutputs(runScript(kScript, required().hex("PIN", "31323334")), kGenerated);
    expectCalls(afterLogin({generateCall(), "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0])",
                            "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=room/128])", "C_Logout(0x1)"}));
}

// Before the token is asked for keys

TEST_F(GenerateKeyPair, withoutAVectorNothingIsCalled) {
    const Result result = execute(kScript, Params::null());

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kScript, std::nullopt, failure("Bad parameter : pOpParams=NULL"), result));
}

TEST_F(GenerateKeyPair, aFailingLoginComesBeforeFaultyParameters) {
    const Params params = Params().plain("ALGOID", "nonsense").hex("PIN", "39393939");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ee")});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 39393939)"});
    expectTrace(framed(params, failed(kScript, "login", 0xA0), result, loginAsUserTrace(1, 0xA0)));
}

TEST_F(GenerateKeyPair, withoutAPinTheLoginFails) {
    plugin = Executor();
    startWithReader();

    expectOutputs(generate(), {errorIs("80f8")});
    expectTraceAt(1, Trace{{1, "PKCS11Client::loginAsUser : no PIN Found"}} + failed(kScript, "login", 0x06));
}

TEST_F(GenerateKeyPair, aParameterFaultLeavesTheUserLoggedIn) {
    const Params params = Params().plain("ALGOID", "1.2.3").append(required());

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls(kLoginCalls);
    expectTrace(framed(params, failure("Bad parameter ALGOID: 1.2.3"), result));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

struct FaultRow {
    std::string name;
    Params params;
    std::string message;
};

class GenerateKeyPairFault : public GenerateKeyPair, public ::testing::WithParamInterface<FaultRow> {};

TEST_P(GenerateKeyPairFault, isReportedAndNothingIsLoggedOut) {
    const Params& params = GetParam().params;

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls(kLoginCalls);
    expectTrace(framed(params, failure(GetParam().message), result));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

Params withSize(const char* size) {
    return Params().plain("ALGOID", kRsa).plain("KEYSIZE", size).base64("PUBLICEXPONENT", "AQAB");
}

Params withExponent(const char* exponent) {
    return Params().plain("ALGOID", kRsa).plain("KEYSIZE", "1024").base64("PUBLICEXPONENT", exponent);
}

Params withAlgorithm(const char* algorithm) {
    return Params().plain("ALGOID", algorithm).plain("KEYSIZE", "1024").base64("PUBLICEXPONENT", "AQAB");
}

INSTANTIATE_TEST_SUITE_P(
    Faults, GenerateKeyPairFault,
    ::testing::Values(
        FaultRow{"nothingGiven", Params(), "ALGOID parameter not found"},
        FaultRow{"noAlgorithm", Params().plain("KEYSIZE", "1024").base64("PUBLICEXPONENT", "AQAB"),
                 "ALGOID parameter not found"},
        FaultRow{"identifiersAreExact", Params().plain("AlgoId", kRsa), "ALGOID parameter not found"},
        FaultRow{"noSize", Params().plain("ALGOID", kRsa).base64("PUBLICEXPONENT", "AQAB"),
                 "KEYSIZE parameter not found"},
        FaultRow{"noSizeAndNoExponent", Params().plain("ALGOID", kRsa), "KEYSIZE parameter not found"},
        FaultRow{"noExponent", Params().plain("ALGOID", kRsa).plain("KEYSIZE", "1024"),
                 "PUBLICEXPONENT parameter not found"},
        FaultRow{"emptyExponent", withExponent(""), "PUBLICEXPONENT parameter not found"},
        FaultRow{"undecodableExponent", withExponent("not Base64!"), "PUBLICEXPONENT parameter not found"},
        FaultRow{"emptyAlgorithm", withAlgorithm(""), "Bad parameter ALGOID: "},
        FaultRow{"longerAlgorithm", withAlgorithm("1.2.840.113549.1.1.11"),
                 "Bad parameter ALGOID: 1.2.840.113549.1.1.11"},
        FaultRow{"algorithmWithBlank", withAlgorithm(" 1.2.840.113549.1.1.1"),
                 "Bad parameter ALGOID:  1.2.840.113549.1.1.1"},
        FaultRow{"size4096", withSize("4096"), "Bad parameter KEYSIZE: 4096"},
        FaultRow{"size3072", withSize("3072"), "Bad parameter KEYSIZE: 3072"},
        FaultRow{"size512", withSize("512"), "Bad parameter KEYSIZE: 512"},
        FaultRow{"sizeWithBlank", withSize("1024 "), "Bad parameter KEYSIZE: 1024 "},
        FaultRow{"sizeWithZero", withSize("01024"), "Bad parameter KEYSIZE: 01024"},
        FaultRow{"emptySize", withSize(""), "Bad parameter KEYSIZE: "},
        FaultRow{"hexadecimalSize", withSize("0x400"), "Bad parameter KEYSIZE: 0x400"},
        FaultRow{"theFirstFaultOfTheRequestCounts", Params().plain("KEYSIZE", "1").plain("ALGOID", "2"),
                 "Bad parameter KEYSIZE: 1"},
        FaultRow{"badValuesComeBeforeMissingOnes", Params().plain("KEYSIZE", "1"), "Bad parameter KEYSIZE: 1"},
        FaultRow{"everyAlgorithmIsLookedAt", required().plain("ALGOID", "x"), "Bad parameter ALGOID: x"},
        FaultRow{"everySizeIsLookedAt", required().plain("KEYSIZE", "x"), "Bad parameter KEYSIZE: x"}),
    [](const auto& row) { return row.param.name; });

TEST_F(GenerateKeyPair, ofRepeatedValuesTheLastCounts) {
    EXPECT_EQ(generated(Params().plain("KEYSIZE", "2048").base64("PUBLICEXPONENT", "Aw==")),
              "C_GenerateKeyPair(0x1, CKM_RSA_PKCS_KEY_PAIR_GEN, [CKA_TOKEN=true CKA_PRIVATE=false CKA_KEY_TYPE=0 "
              "CKA_MODULUS_BITS=2048 CKA_PUBLIC_EXPONENT=03], [" +
                  kPrivateHead + "])");
}

TEST_F(GenerateKeyPair, anExponentThatDecodesToNothingLeavesTheOneBefore) {
    EXPECT_EQ(generated(Params().base64("PUBLICEXPONENT", "").base64("PUBLICEXPONENT", "!")), generateCall());
}

TEST_F(GenerateKeyPair, theExponentIsBase64WhateverItsEncodingSays) {
    const Params params = Params().plain("ALGOID", kRsa).plain("KEYSIZE", "1024").hex("PUBLICEXPONENT", "AQAB");

    expectOutputs(execute(kScript, params), kGenerated);
}

TEST_F(GenerateKeyPair, aLongExponentIsPassedAsItIs) {
    std::string base64;
    std::string hex;
    for (int i = 0; i < 2000; ++i) {
        base64 += "AQAB";
        hex += "010001";
    }
    fake.answerNext(Function::C_GenerateKeyPair, CKR_ATTRIBUTE_VALUE_INVALID);

    expectOutputs(execute(kScript, withExponent(base64.c_str())), {errorIs("80f9")});
    EXPECT_EQ(calls().at(3), "C_GenerateKeyPair(0x1, CKM_RSA_PKCS_KEY_PAIR_GEN, [CKA_TOKEN=true CKA_PRIVATE=false "
                             "CKA_KEY_TYPE=0 CKA_MODULUS_BITS=1024 CKA_PUBLIC_EXPONENT=" +
                                 hex + "], [" + kPrivateHead + "])");
}

// The templates

struct KeywordRow {
    const char* name;
    Params params;
    std::string publicTail;
    std::string privateTail;
};

class GenerateKeyPairKeyword : public GenerateKeyPair, public ::testing::WithParamInterface<KeywordRow> {};

TEST_P(GenerateKeyPairKeyword, shapesTheTemplates) {
    EXPECT_EQ(generated(GetParam().params), generateCall(GetParam().publicTail, GetParam().privateTail));
}

KeywordRow publicFlag(const char* id, bool value) {
    return {id, Params().plain(id, value ? "1" : "0"), std::string(" CKA_") + id + (value ? "=true" : "=false"), ""};
}

KeywordRow privateFlag(const char* id, bool value) {
    return {id, Params().plain(id, value ? "1" : "0"), "", std::string(" CKA_") + id + (value ? "=true" : "=false")};
}

KeywordRow flagOfBoth(const char* id, bool value) {
    const std::string tail = std::string(" CKA_") + id + (value ? "=true" : "=false");
    return {id, Params().plain(id, value ? "1" : "0"), tail, tail};
}

INSTANTIATE_TEST_SUITE_P(True, GenerateKeyPairKeyword,
                         ::testing::Values(flagOfBoth("MODIFIABLE", true), flagOfBoth("DERIVE", true),
                                           privateFlag("SENSITIVE", true), publicFlag("ENCRYPT", true),
                                           privateFlag("DECRYPT", true), privateFlag("SIGN", true),
                                           privateFlag("SIGN_RECOVER", true), publicFlag("WRAP", true),
                                           privateFlag("UNWRAP", true), privateFlag("EXTRACTABLE", true),
                                           publicFlag("VERIFY", true), publicFlag("VERIFY_RECOVER", true)),
                         [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(False, GenerateKeyPairKeyword,
                         ::testing::Values(flagOfBoth("MODIFIABLE", false), flagOfBoth("DERIVE", false),
                                           privateFlag("SENSITIVE", false), publicFlag("ENCRYPT", false),
                                           privateFlag("DECRYPT", false), privateFlag("SIGN", false),
                                           privateFlag("SIGN_RECOVER", false), publicFlag("WRAP", false),
                                           privateFlag("UNWRAP", false), privateFlag("EXTRACTABLE", false),
                                           publicFlag("VERIFY", false), publicFlag("VERIFY_RECOVER", false)),
                         [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Texts, GenerateKeyPairKeyword,
    ::testing::Values(
        KeywordRow{"none", Params(), "", ""},
        KeywordRow{"label", Params().hex("LABEL", "4142"), " CKA_LABEL=4142", " CKA_LABEL=4142"},
        KeywordRow{"labelUpToTheFirstZero", Params().hex("LABEL", "41004200"), " CKA_LABEL=41", " CKA_LABEL=41"},
        KeywordRow{"labelBeginningWithZero", Params().hex("LABEL", "0041"), " CKA_LABEL=empty", " CKA_LABEL=empty"},
        KeywordRow{"subject", Params().hex("SUBJECT", "30000b"), " CKA_SUBJECT=30000B", " CKA_SUBJECT=30000B"},
        KeywordRow{"id", Params().hex("ID", "0001"), " CKA_ID=0001", " CKA_ID=0001"},
        KeywordRow{"whatDoesNotDecodeIsSkipped", Params().hex("SUBJECT", "").hex("ID", "Z").hex("ID", "123"), "", ""},
        KeywordRow{"hexadecimalWhateverTheEncoding", Params().base64("LABEL", "4142").text("ID", "01"),
                   " CKA_LABEL=4142 CKA_ID=01", " CKA_LABEL=4142 CKA_ID=01"},
        KeywordRow{"onlyExactlyOneIsTrue",
                   Params()
                       .plain("SIGN", "true")
                       .plain("DECRYPT", "TRUE")
                       .plain("UNWRAP", "01")
                       .plain("VERIFY", "")
                       .plain("WRAP", "1 "),
                   " CKA_VERIFY=false CKA_WRAP=false", " CKA_SIGN=false CKA_DECRYPT=false CKA_UNWRAP=false"},
        KeywordRow{"otherIdentifiersAreIgnored",
                   Params()
                       .plain("sign", "1")
                       .plain("PRIVATE", "1")
                       .hex("KEYID", "01")
                       .plain("OBJ_TYPE", "x")
                       .plain("NEVER_EXTRACTABLE", "1")
                       .hex("SN", "01"),
                   "", ""},
        KeywordRow{"inTheOrderOfTheRequest",
                   Params()
                       .plain("VERIFY_RECOVER", "1")
                       .plain("VERIFY", "1")
                       .plain("EXTRACTABLE", "0")
                       .plain("UNWRAP", "1")
                       .plain("WRAP", "1")
                       .plain("SIGN_RECOVER", "1")
                       .plain("SIGN", "1")
                       .plain("DECRYPT", "1")
                       .plain("ENCRYPT", "1")
                       .hex("ID", "03")
                       .hex("SUBJECT", "02")
                       .hex("LABEL", "01")
                       .plain("SENSITIVE", "1")
                       .plain("DERIVE", "0")
                       .plain("MODIFIABLE", "1"),
                   " CKA_VERIFY_RECOVER=true CKA_VERIFY=true CKA_WRAP=true CKA_ENCRYPT=true CKA_ID=03 CKA_SUBJECT=02 "
                   "CKA_LABEL=01 CKA_DERIVE=false CKA_MODIFIABLE=true",
                   " CKA_EXTRACTABLE=false CKA_UNWRAP=true CKA_SIGN_RECOVER=true CKA_SIGN=true CKA_DECRYPT=true "
                   "CKA_ID=03 CKA_SUBJECT=02 CKA_LABEL=01 CKA_SENSITIVE=true CKA_DERIVE=false CKA_MODIFIABLE=true"},
        KeywordRow{"anUndecodableLabelIsCountedWithoutAValue", Params().hex("LABEL", "Z"), " CKA_MODIFIABLE=null/0",
                   " CKA_MODIFIABLE=null/0"},
        KeywordRow{"anEmptyLabelDoesNotDecode", Params().plain("MODIFIABLE", "1").hex("LABEL", ""),
                   " CKA_MODIFIABLE=true CKA_LABEL=null/0", " CKA_MODIFIABLE=true CKA_LABEL=null/0"},
        KeywordRow{"entriesBehindAnUndecodableLabelTakeTheNextPlace", Params().hex("LABEL", "?").hex("ID", "01"),
                   " CKA_MODIFIABLE=null/0 CKA_ID=01", " CKA_MODIFIABLE=null/0 CKA_ID=01"}),
    [](const auto& row) { return row.param.name; });

std::string fixedFlags(const char* publicToken, const char* publicPrivate, const char* privatePrivate) {
    return std::string("C_GenerateKeyPair(0x1, CKM_RSA_PKCS_KEY_PAIR_GEN, [CKA_TOKEN=") + publicToken +
           " CKA_PRIVATE=" + publicPrivate +
           " CKA_KEY_TYPE=0 CKA_MODULUS_BITS=1024 CKA_PUBLIC_EXPONENT=010001], [CKA_TOKEN=" + publicToken +
           " CKA_PRIVATE=" + privatePrivate + " CKA_KEY_TYPE=0])";
}

TEST_F(GenerateKeyPair, threeKeywordsOverwriteFixedEntries) {
    EXPECT_EQ(generated(Params().plain("TOKEN", "0")), fixedFlags("false", "false", "true"));
    EXPECT_EQ(generated(Params().plain("TOKEN", "1")), fixedFlags("true", "false", "true"));
    EXPECT_EQ(generated(Params().plain("PRIVATE_PUK", "1")), fixedFlags("true", "true", "true"));
    EXPECT_EQ(generated(Params().plain("PRIVATE_PUK", "yes")), fixedFlags("true", "false", "true"));
    EXPECT_EQ(generated(Params().plain("PRIVATE_PRK", "0")), fixedFlags("true", "false", "false"));
    EXPECT_EQ(generated(Params().plain("PRIVATE_PRK", "1")), fixedFlags("true", "false", "true"));
    EXPECT_EQ(generated(Params().plain("PRIVATE_PRK", "").plain("PRIVATE_PUK", "1").plain("TOKEN", "")),
              fixedFlags("false", "true", "false"));
}

TEST_F(GenerateKeyPair, ofRepeatedFixedFlagsTheLastCountsAndNoneIsTooMany) {
    Params keywords;
    for (int i = 0; i < 100; ++i) {
        keywords.plain("TOKEN", "0").plain("PRIVATE_PRK", "0").plain("PRIVATE_PUK", "0");
    }
    EXPECT_EQ(generated(keywords.plain("TOKEN", "1").plain("PRIVATE_PUK", "1").plain("PRIVATE_PRK", "1")),
              fixedFlags("true", "true", "true"));
}

TEST_F(GenerateKeyPair, tokenTrueInWordsGivesASessionKey) {
    logIn(); // so that the private key outlives the script
    expectOutputs(generate(Params().plain("TOKEN", "true")), kGenerated);

    ASSERT_EQ(fake.objects().size(), 2U);
    EXPECT_EQ(fake.objects()[0].attributes.booleanOf(CKA_TOKEN), false);
    EXPECT_EQ(fake.objects()[1].attributes.booleanOf(CKA_TOKEN), false);
}

TEST_F(GenerateKeyPair, anUndecodableLabelKeepsTheTypeThatItsPublicPlaceIsPresetTo) {
    const std::vector<std::string> preset = {"CKA_MODIFIABLE", "CKA_LABEL",          "CKA_SUBJECT",
                                             "CKA_ID",         "CKA_DERIVE",         "CKA_ENCRYPT",
                                             "CKA_VERIFY",     "CKA_VERIFY_RECOVER", "CKA_WRAP"};
    const std::vector<std::string> flags = {"VERIFY_RECOVER", "VERIFY", "WRAP", "ENCRYPT"};
    Params before;
    std::string tail;
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(generated(Params().append(before).hex("LABEL", "?")),
                  generateCall(tail + " " + preset[i] + "=null/0", " CKA_MODIFIABLE=null/0"));
        before.plain(i < 4 ? flags[i] : "none", "1");
        tail += i < 4 ? " CKA_" + flags[i] + "=true" : "";
    }
    const std::vector<std::string> privatePreset = {"CKA_MODIFIABLE", "CKA_LABEL", "CKA_SUBJECT", "CKA_ID",
                                                    "CKA_DERIVE"};
    const std::vector<std::pair<std::string, std::string>> both = {
        {"MODIFIABLE", "true"}, {"DERIVE", "true"}, {"SUBJECT", "01"}, {"ID", "01"}};
    std::string privateTail;
    for (std::size_t i = 0; i < 4; ++i) {
        before.hex(both[i].first, both[i].second == "true" ? "1" : "01");
        tail += " CKA_" + both[i].first + "=" + both[i].second;
        privateTail += " CKA_" + both[i].first + "=" + both[i].second;
        EXPECT_EQ(
            generated(Params().append(before).hex("LABEL", "")),
            generateCall(tail + " " + preset[i + 5] + "=null/0", privateTail + " " + privatePreset[i + 1] + "=null/0"));
    }
}

TEST_F(GenerateKeyPair, anUndecodableLabelKeepsTheTypeThatItsPrivatePlaceIsPresetTo) {
    struct Place {
        const char* preset;
        const char* nextFlag; ///< the keyword that moves the label one place on
    };
    Params before;
    std::string tail;
    for (const Place& place : std::vector<Place>{{"CKA_MODIFIABLE", "EXTRACTABLE"},
                                                 {"CKA_LABEL", "UNWRAP"},
                                                 {"CKA_SUBJECT", "SIGN_RECOVER"},
                                                 {"CKA_ID", "SIGN"},
                                                 {"CKA_DERIVE", "DECRYPT"},
                                                 {"CKA_SENSITIVE", "SENSITIVE"},
                                                 {"CKA_DECRYPT", "none"}}) {
        EXPECT_EQ(generated(Params().append(before).hex("LABEL", "?")),
                  generateCall(" CKA_MODIFIABLE=null/0", tail + " " + place.preset + "=null/0"));
        before.plain(place.nextFlag, "1");
        tail += std::string(" CKA_") + place.nextFlag + "=true";
    }
    tail.resize(tail.size() - std::string(" CKA_none=true").size());
    std::string publicTail;
    const std::vector<std::string> publicPreset = {"CKA_LABEL", "CKA_SUBJECT", "CKA_ID", "CKA_DERIVE"};
    const std::vector<std::string> preset = {"CKA_SIGN", "CKA_SIGN_RECOVER", "CKA_UNWRAP", "CKA_EXTRACTABLE"};
    const std::vector<std::pair<std::string, std::string>> both = {
        {"DERIVE", "true"}, {"MODIFIABLE", "true"}, {"ID", "01"}, {"SUBJECT", "01"}};
    for (std::size_t i = 0; i < 4; ++i) {
        before.hex(both[i].first, both[i].second == "true" ? "1" : "01");
        tail += " CKA_" + both[i].first + "=" + both[i].second;
        publicTail += " CKA_" + both[i].first + "=" + both[i].second;
        EXPECT_EQ(generated(Params().append(before).hex("LABEL", "")),
                  generateCall(publicTail + " " + publicPreset[i] + "=null/0", tail + " " + preset[i] + "=null/0"));
    }
}

TEST_F(GenerateKeyPair, everyEntryOfBothTemplatesHasItsOwnBytes) {
    bool shared = true;
    fake.hook<Function::C_GenerateKeyPair>([&](CK_SESSION_HANDLE, CK_MECHANISM* mechanism, CK_ATTRIBUTE* publicList,
                                               CK_ULONG publicCount, CK_ATTRIBUTE* privateList, CK_ULONG privateCount,
                                               CK_OBJECT_HANDLE*, CK_OBJECT_HANDLE*) -> CK_RV {
        EXPECT_EQ(mechanism->pParameter, nullptr);
        EXPECT_EQ(mechanism->ulParameterLen, 0U);
        EXPECT_EQ(publicCount, 7U);
        EXPECT_EQ(privateCount, 5U);
        shared = publicList[5].pValue == privateList[3].pValue || publicList[6].pValue == privateList[4].pValue;
        return CKR_DEVICE_ERROR;
    });

    expectOutputs(generate(Params().plain("MODIFIABLE", "1").hex("ID", "01")), {errorIs("80fa")});

    EXPECT_FALSE(shared);
}

TEST_F(GenerateKeyPair, keywordsAreTracedWithTheirTypes) {
    const Params params = required().plain("SIGN", "1").hex("LABEL", "41").plain("VERIFY", "1").plain("TOKEN", "1");

    const Result result = execute(kScript, params);

    expectOutputs(result, kGenerated);
    expectTrace(framed(params,
                       announced({0x01, 0x02, 0x100, 0x121, 0x122, 0x03, 0x10A}, {0x01, 0x02, 0x100, 0x108, 0x03}) +
                           handlesTrace() + modulusRead() + logoutTrace(kScript, 1),
                       result));
}

// Keywords that come again

TEST_F(GenerateKeyPair, aRepeatedKeywordAppendsAnotherEntryToItsTemplates) {
    EXPECT_EQ(generated(Params().plain("SIGN", "1").hex("ID", "01").plain("SIGN", "0").hex("ID", "0203")),
              generateCall(" CKA_ID=01 CKA_ID=0203", " CKA_SIGN=true CKA_ID=01 CKA_SIGN=false CKA_ID=0203"));
    EXPECT_EQ(generated(Params().hex("LABEL", "?").hex("LABEL", "41").hex("LABEL", "")),
              generateCall(" CKA_MODIFIABLE=null/0 CKA_LABEL=41 CKA_SUBJECT=null/0",
                           " CKA_MODIFIABLE=null/0 CKA_LABEL=41 CKA_SUBJECT=null/0"));
}

TEST_F(GenerateKeyPair, aTokenThatTakesNoAttributeTwiceHasItsSay) {
    const Params params = required().plain("SIGN", "1").plain("SIGN", "1");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("8106")});
    expectCalls(afterLogin({generateCall("", " CKA_SIGN=true CKA_SIGN=true")}));
    expectTrace(framed(params,
                       announced(kPublicTypes, {0x01, 0x02, 0x100, 0x108, 0x108}) +
                           failed(kScript, "C_GenerateKeyPair", CKR_TEMPLATE_INCONSISTENT),
                       result));
}

TEST_F(GenerateKeyPair, fourteenEntriesOfEachHalfFit) {
    EXPECT_EQ(generated(repeated(9, "VERIFY", "1").append(repeated(11, "SIGN", "1"))),
              generateCall(repeatedEntry(9, "CKA_VERIFY=true"), repeatedEntry(11, "CKA_SIGN=true")));
    EXPECT_EQ(generated(repeated(9, "ID", "01").append(repeated(2, "SIGN", "0"))),
              generateCall(repeatedEntry(9, "CKA_ID=01"),
                           repeatedEntry(9, "CKA_ID=01") + repeatedEntry(2, "CKA_SIGN=false")));
}

TEST_F(GenerateKeyPair, nineUnreadableLabelsFillThePublicHalfWithEveryPresetType) {
    EXPECT_EQ(generated(repeated(9, "LABEL", "?")),
              generateCall(" CKA_MODIFIABLE=null/0 CKA_LABEL=null/0 CKA_SUBJECT=null/0 CKA_ID=null/0 "
                           "CKA_DERIVE=null/0 CKA_ENCRYPT=null/0 CKA_VERIFY=null/0 CKA_VERIFY_RECOVER=null/0 "
                           "CKA_WRAP=null/0",
                           " CKA_MODIFIABLE=null/0 CKA_LABEL=null/0 CKA_SUBJECT=null/0 CKA_ID=null/0 "
                           "CKA_DERIVE=null/0 CKA_SENSITIVE=null/0 CKA_DECRYPT=null/0 CKA_SIGN=null/0 "
                           "CKA_SIGN_RECOVER=null/0"));
}

TEST_F(GenerateKeyPair, fullTemplatesTakeWhatNeedsNoNewEntry) {
    Params keywords = repeated(9, "VERIFY", "1").append(repeated(11, "SIGN", "1"));
    keywords.hex("SUBJECT", "").hex("ID", "Z").plain("TOKEN", "0").plain("PRIVATE_PUK", "1").plain("PRIVATE_PRK", "0");
    EXPECT_EQ(generated(keywords),
              "C_GenerateKeyPair(0x1, CKM_RSA_PKCS_KEY_PAIR_GEN, [CKA_TOKEN=false CKA_PRIVATE=true CKA_KEY_TYPE=0 "
              "CKA_MODULUS_BITS=1024 CKA_PUBLIC_EXPONENT=010001" +
                  repeatedEntry(9, "CKA_VERIFY=true") + "], [CKA_TOKEN=false CKA_PRIVATE=false CKA_KEY_TYPE=0" +
                  repeatedEntry(11, "CKA_SIGN=true") + "])");
}

/// Requests whose last keyword but one finds no room any more.
std::vector<FaultRow> withoutRoom() {
    std::vector<FaultRow> rows;
    const auto add = [&rows](const std::string& half, const Params& full, const std::string& id,
                             const std::string& value) {
        rows.push_back({half + std::to_string(rows.size()) + id,
                        required().append(full).plain(id, value).plain("UNWRAP", "never reached"),
                        "Bad parameter " + id + ": " + value});
    };
    const Params fullPublic = repeated(9, "VERIFY", "1");
    const Params fullPrivate = repeated(11, "SIGN", "1");
    const std::vector<std::pair<std::string, std::string>> both = {
        {"MODIFIABLE", "1"}, {"DERIVE", "0"},   {"LABEL", "4142"}, {"LABEL", "?"},
        {"LABEL", ""},       {"SUBJECT", "0a"}, {"ID", "01"}};
    for (const auto& [id, value] : both) {
        add("public", fullPublic, id, value);
        add("private", fullPrivate, id, value);
        add("bothHalves", Params(fullPublic).append(fullPrivate), id, value);
    }
    for (const char* id : {"ENCRYPT", "WRAP", "VERIFY", "VERIFY_RECOVER"}) {
        add("public", fullPublic, id, "1");
    }
    for (const char* id : {"SENSITIVE", "DECRYPT", "SIGN", "SIGN_RECOVER", "UNWRAP", "EXTRACTABLE"}) {
        add("private", fullPrivate, id, "no");
    }
    return rows;
}

INSTANTIATE_TEST_SUITE_P(WithoutRoom, GenerateKeyPairFault, ::testing::ValuesIn(withoutRoom()),
                         [](const auto& row) { return row.param.name; });

TEST_F(GenerateKeyPair, manyRepetitionsEndAtTheFirstThatFindsNoRoom) {
    Params keywords;
    for (int i = 0; i < 1000; ++i) {
        for (const char* flag : {"MODIFIABLE", "DERIVE", "SENSITIVE", "ENCRYPT", "DECRYPT", "SIGN", "SIGN_RECOVER",
                                 "WRAP", "UNWRAP", "EXTRACTABLE", "VERIFY", "VERIFY_RECOVER"}) {
            keywords.plain(flag, "1");
        }
        keywords.hex("LABEL", "41").hex("SUBJECT", "02").hex("ID", "03");
    }
    expectOutputs(generate(keywords), {errorIs("80ec")});
    expectCalls(kLoginCalls);
    expectTraceAt(1, failure("Bad parameter MODIFIABLE: 1"));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

// Failures of the token

TEST_F(GenerateKeyPair, aFailingGenerationIsNotLoggedOut) {
    fake.answerNext(Function::C_GenerateKeyPair, CKR_KEY_SIZE_RANGE);

    const Result result = generate();

    expectOutputs(result, {errorIs("80fb")});
    expectCalls(afterLogin({generateCall()}));
    expectTrace(framed(required(), announced() + failed(kScript, "C_GenerateKeyPair", 0x62), result));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

TEST_F(GenerateKeyPair, aModulusLengthThatCannotBeReadIsNotLoggedOut) {
    fake.answerNext(Function::C_GetAttributeValue, CKR_ATTRIBUTE_TYPE_INVALID);

    const Result result = generate();

    expectOutputs(result, {errorIs("80f9")});
    expectCalls(afterLogin({generateCall(), "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0])"}));
    expectTrace(framed(required(),
                       announced() + handlesTrace() + modulusAsked() + failed(kScript, "C_GetAttributeValue", 0x12),
                       result));
    EXPECT_EQ(fake.login(), Fake::Role::User);
    EXPECT_EQ(fake.objects().size(), 2U);
}

TEST_F(GenerateKeyPair, aModulusThatCannotBeReadIsNotLoggedOut) {
    fake.passNext(Function::C_GetAttributeValue);
    fake.answerNext(Function::C_GetAttributeValue, CKR_DEVICE_REMOVED, 1, Fake::When::After);

    const Result result = generate();

    expectOutputs(result, {errorIs("80eb")});
    expectCalls(afterLogin({generateCall(), "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0])",
                            "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=room/128])"}));
    expectTrace(framed(required(),
                       announced() + handlesTrace() + modulusAsked() + modulusAsked() +
                           failed(kScript, "C_GetAttributeValue", 0x32),
                       result));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

TEST_F(GenerateKeyPair, aFailingLogoutIsReportedBesideTheModulusAndNotRetried) {
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);

    const Result result = generate();

    expectOutputs(result, {errorIs("80fa"), {"MODULUS", 1, 2, kModulus}});
    EXPECT_EQ(fake.callCount(Function::C_Logout), 1U);
    expectTrace(
        framed(required(), announced() + handlesTrace() + modulusRead() + logoutTrace(kScript, 1, 0x30), result));
}

TEST_F(GenerateKeyPair, missingFunctionsAnswerAsNotSupported) {
    fake.setNullEntry(Function::C_GenerateKeyPair);
    expectOutputs(generate(), {errorIs("80f4")});
    expectTraceAt(1, failed(kScript, "C_GenerateKeyPair", 0x54));
}

TEST_F(GenerateKeyPair, aLengthThatIsNoneIsAGeneralError) {
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        list[0].ulValueLen = CK_UNAVAILABLE_INFORMATION;
        return CK_RV{CKR_OK};
    });

    const Result result = generate();

    expectOutputs(result, {errorIs("80f7")});
    EXPECT_EQ(fake.callCount(Function::C_GetAttributeValue), 1U);
    expectTrace(framed(required(),
                       announced() + handlesTrace() + modulusAsked() + failed(kScript, "C_GetAttributeValue", 0x05),
                       result));
    EXPECT_EQ(fake.callCount(Function::C_Logout), 0U);
}

TEST_F(GenerateKeyPair, aModulusOfNoBytesIsAnEmptyOutput) {
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        list[0].ulValueLen = 0;
        return CK_RV{CKR_OK};
    });

    const Result result = generate();

    expectOutputs(result, {done(), {"MODULUS", 1, 2, ""}});
    expectCalls(afterLogin({generateCall(), "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=null/0])",
                            "C_GetAttributeValue(0x1, 0x101, [CKA_MODULUS=room/0])", "C_Logout(0x1)"}));
    expectTrace(framed(required(),
                       announced() + handlesTrace() + valueRead(kScript, 1, 0x101, 0x120, "") + logoutTrace(kScript, 1),
                       result));
}

TEST_F(GenerateKeyPair, wideHandlesAreNotCut) {
    const auto object = static_cast<CK_OBJECT_HANDLE>(0x1122334400000031ULL);
    fake.setNextObjectHandle(object);

    expectOutputs(generate(), kGenerated);

    const std::string object0x = Fake::handleText(object);
    EXPECT_EQ(calls().at(4), "C_GetAttributeValue(0x1, " + object0x + ", [CKA_MODULUS=null/0])");
    const Trace lines = trace();
    EXPECT_EQ(std::count(lines.lines.begin(), lines.lines.end(), TraceLine{4, kHead + "<-- hPublicObject=0x31"}), 1);
    EXPECT_EQ(std::count(lines.lines.begin(), lines.lines.end(), TraceLine{4, kHead + "<-- hPrivateObject=0x32"}), 1);
}

TEST_F(GenerateKeyPair, aLengthBeyondTheBufferIsAGeneralError) {
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        list[0].ulValueLen = list[0].pValue == nullptr ? 64 : 65;
        return CK_RV{CKR_OK};
    });

    expectOutputs(generate(), {errorIs("80f7")});
    EXPECT_EQ(fake.callCount(Function::C_GetAttributeValue), 2U);
    expectTraceAt(1, failed(kScript, "C_GetAttributeValue", 0x05));
}

TEST_F(GenerateKeyPair, aModulusShorterThanAnnouncedIsTakenAsItIs) {
    fake.hook<Function::C_GetAttributeValue>([](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* list, CK_ULONG) {
        if (list[0].pValue != nullptr) {
            *static_cast<CK_BYTE*>(list[0].pValue) = 0xA1;
        }
        list[0].ulValueLen = list[0].pValue == nullptr ? 64 : 1;
        return CK_RV{CKR_OK};
    });

    expectOutputs(generate(), {done(), {"MODULUS", 1, 2, "oQ=="}});
}

} // namespace
} // namespace Conformance::GenerateKeyPairTests
