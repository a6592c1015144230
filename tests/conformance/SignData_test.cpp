// Signing with a private key of the token.

#include "ry/rylog.h"
#include "tests/conformance/SearchTrace.h"
#include "tests/fake/TemplateText.h"
#include "zel/ClientOperationException.h"

namespace Conformance::SignDataTests {

using Fake::Function;

namespace {

const std::string kScript = "signData";
const std::string kRsa = "1.2.840.113549.1.1.1";
const std::string kHead = "PKCS11Client::signData: ";

/// What the scripted module makes of 01 02 with a modulus of 16 bytes: 00 01 FF … 00 and the data inverted.
const std::string kSignature = "AAH//////////////wD+/Q==";
const std::string kSignatureHex = "0001FFFFFFFFFFFFFFFFFFFFFF00FEFD";

const std::vector<Output> kSigned = {done(), {"SIGNEDDATA", 1, 2, kSignature}};

Trace failure(const std::string& text) {
    return {{1, kHead + text}};
}

Params request() {
    return Params().plain("ALGOID", kRsa).hex("KEYID", "0A").base64("DATA", "AQI=");
}

Params algorithm() {
    return Params().plain("ALGOID", kRsa);
}

const std::vector<std::string> kLoginCalls = {"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)",
                                              "C_Login(0x1, CKU_USER, 31323334)"};
const std::vector<std::string> kKeptCalls = {"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)"};

std::vector<std::string> joined(std::vector<std::string> calls, const std::vector<std::string>& further) {
    calls.insert(calls.end(), further.begin(), further.end());
    return calls;
}

const std::vector<std::string> kSignCalls = {"C_FindObjectsInit(0x1, [CKA_CLASS=3 CKA_ID=0A])",
                                             "C_FindObjects(0x1, max=1)",
                                             "C_FindObjectsFinal(0x1)",
                                             "C_SignInit(0x1, CKM_RSA_PKCS, 0x101)",
                                             "C_Sign(0x1, 0102, null)",
                                             "C_Sign(0x1, 0102, room=16)"};

/// The first `count` of these calls.
std::vector<std::string> signCalls(std::size_t count) {
    return {kSignCalls.begin(), kSignCalls.begin() + static_cast<std::ptrdiff_t>(count)};
}

// The script's steps as the trace tells them.

Trace searchBegun(const std::string& keyId = "0A") {
    return sessionCall(kScript, "C_FindObjectsInit", 1) + in(kScript, "Template[0].type", 0x00) +
           Trace{valueLine(kScript, "--> Template[0].pValue", numberDump(3))} + in(kScript, "Template[1].type", 0x102) +
           Trace{valueLine(kScript, "--> Template[1].pValue", keyId)};
}

Trace keyFound() {
    return searchBegun() + foundTrace(kScript, 1, 0x101) + searchEnd(kScript, 1);
}

Trace signBegun() {
    return sessionCall(kScript, "C_SignInit", 1) + in(kScript, "Mechanism", 1) + in(kScript, "hObject", 0x101);
}

Trace lengthAsked() {
    return sessionCall(kScript, "C_Sign", 1);
}

Trace signatureAsked() {
    return sessionCall(kScript, "C_Sign", 1) + Trace{valueLine(kScript, "--> Data to be signed", "0102")};
}

Trace dataSigned() {
    return keyFound() + signBegun() + lengthAsked() + signatureAsked() +
           Trace{valueLine(kScript, "<-- Signed Data", kSignatureHex)};
}

Trace keyNotFound(const std::string& keyId) {
    return {{1, "PKCS11Client::signData : key not found", keyId}};
}

class SignData : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        startWithReader(Params().hex("PIN", "31323334"));
        addKey("0A");
    }

    CK_OBJECT_HANDLE addKey(const std::string& idHex) {
        return fake.addObject(Fake::Attributes()
                                  .number(CKA_CLASS, CKO_PRIVATE_KEY)
                                  .number(CKA_KEY_TYPE, CKK_RSA)
                                  .hex(CKA_ID, idHex)
                                  .hex(CKA_MODULUS, "C0010203040506070809101112131415"));
    }

    /// Starts over with these access values and the same PIN; the key is still 0x101, the session 1 to come.
    void restart(const Params& access) {
        plugin = Executor();
        fake.reset();
        startWithReader(Params().hex("PIN", "31323334").append(access));
        addKey("0A");
    }

    /// Leaves session 1 open and logged in, as a failed key generation does.
    void logIn() {
        expectOutputs(execute("generateKeyPair", Params()), {errorIs("80ec")});
        ASSERT_EQ(fake.login(), Fake::Role::User);
        forget();
    }

    /// All of `execute` around the lines of the script that follow its login.
    static Trace framed(const Params& params, const Trace& inner, const Result& result,
                        const Trace& login = loginAsUserTrace(1)) {
        const std::optional<std::vector<std::string>> ids =
            params.isNull() ? std::nullopt : std::optional(params.ids());
        Trace trace = executeHead(kScript, ids) + entry(kScript);
        if (ids) {
            trace += operationParameters(kScript, *ids) + readParametersTrace(*ids);
        }
        return trace + login + inner + leave(kScript) + executeTail(result);
    }
};

TEST_F(SignData, logsInFindsTheKeySignsAndLogsOut) {
    const Result result = execute(kScript, request());

    expectOutputs(result, kSigned);
    expectCalls(joined(joined(kLoginCalls, kSignCalls), {"C_Logout(0x1)"}));
    expectTrace(framed(request(), dataSigned() + logoutTrace(kScript, 1), result));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
    EXPECT_EQ(fake.sessionCount(), 1U);
}

TEST_F(SignData, whoeverIsLoggedInStaysLoggedIn) {
    logIn();

    const Result result = execute(kScript, request());

    expectOutputs(result, kSigned);
    expectCalls(joined(kKeptCalls, kSignCalls));
    expectTrace(framed(request(), dataSigned(), result, alreadyLoggedInTrace(1)));
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

TEST_F(SignData, aSecondSignatureLogsInAgain) {
    static_cast<void>(execute(kScript, request()));
    forget();

    const Result result = execute(kScript, request());

    expectOutputs(result, kSigned);
    expectTrace(framed(request(), dataSigned() + logoutTrace(kScript, 1), result, loginOnOpenSessionTrace(1)));
}

TEST_F(SignData, theFirstOfTwoKeysWithTheSameIdSigns) {
    addKey("0A");

    expectOutputs(execute(kScript, request()), kSigned);
    expectCalls(joined(joined(kLoginCalls, kSignCalls), {"C_Logout(0x1)"}));
}

TEST_F(SignData, theMechanismHasNoParameterAndTheTemplateTwoEntries) {
    fake.hook<Function::C_SignInit>([&](CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
        EXPECT_EQ(mechanism->pParameter, nullptr);
        EXPECT_EQ(mechanism->ulParameterLen, 0U);
        return fake.honest().C_SignInit(session, mechanism, key);
    });
    fake.hook<Function::C_FindObjectsInit>([&](CK_SESSION_HANDLE session, CK_ATTRIBUTE* list, CK_ULONG count) {
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(list[0].ulValueLen, sizeof(CK_ULONG));
        EXPECT_EQ(list[1].ulValueLen, 1U);
        return fake.honest().C_FindObjectsInit(session, list, count);
    });

    expectOutputs(execute(kScript, request()), kSigned);
    EXPECT_EQ(fake.callCount(Function::C_SignInit), 1U);
}

TEST_F(SignData, dataIsSignedAsItIsWhateverItsLength) {
    // One byte more than a modulus of 16 bytes has room for.
    expectOutputs(execute(kScript, Params().append(algorithm()).hex("KEYID", "0A").bytes("DATA", "010203040506")),
                  {done()});
    expectTraceAt(1, failed(kScript, "C_Sign", 0x21));
}

TEST_F(SignData, theKeyIdIsSearchedWithAllItsBytes) {
    addKey("00FF00");

    expectOutputs(execute(kScript, algorithm().hex("KEYID", "00ff00").base64("DATA", "AQI=")), kSigned);
    EXPECT_EQ(calls().at(3), "C_FindObjectsInit(0x1, [CKA_CLASS=3 CKA_ID=00FF00])");
}

// Where the values come from

TEST_F(SignData, storedValuesServeARequestWithoutAVector) {
    restart(request());

    const Result result = execute(kScript, Params::null());

    expectOutputs(result, kSigned);
    expectTrace(framed(Params::null(), dataSigned() + logoutTrace(kScript, 1), result));
}

TEST_F(SignData, storedValuesServeAnEmptyRequest) {
    restart(request());

    expectOutputs(execute(kScript, Params()), kSigned);
}

TEST_F(SignData, theRequestsValuesAreTheStoredOnesWhenExecuteRunsIt) {
    restart(algorithm().hex("KEYID", "0B").base64("DATA", "MDE="));

    expectOutputs(execute(kScript, request()), kSigned);
    EXPECT_EQ(calls().at(3), kSignCalls.at(0));
}

TEST_F(SignData, ofRepeatedValuesTheLastIsStored) {
    const Params params = Params().plain("ALGOID", "x").hex("KEYID", "0B").base64("DATA", "MDE=").append(request());

    expectOutputs(execute(kScript, params), kSigned);
}

TEST_F(SignData, valuesMayComeInAnyEncodingThatStandsForTheirBytes) {
    expectOutputs(execute(kScript, algorithm().base64("KEYID", "Cg==").hex("DATA", "0102")), kSigned);
    expectOutputs(execute(kScript, algorithm().plain("KEYID", "0a").plain("DATA", "0102")), kSigned);
    addKey("41");
    expectOutputs(execute(kScript, algorithm().text("KEYID", "A").base64("DATA", "AQI=")), kSigned);
}

TEST_F(SignData, storedDataThatIsNotHexadecimalIsTakenFromTheRequestAsBase64) {
    expectOutputs(execute(kScript, algorithm().hex("KEYID", "0A").hex("DATA", "AQI=")), kSigned);
    EXPECT_EQ(calls().at(7), "C_Sign(0x1, 0102, null)");
}

TEST_F(SignData, storedDataIsHexadecimalWhereTheRequestsIsBase64) {
    restart(Params().hex("DATA", "3031"));

    expectOutputs(runScript(kScript, algorithm().hex("KEYID", "0A").hex("DATA", "3031")),
                  {done(), {"SIGNEDDATA", 1, 2, "AAH//////////////wDPzg=="}});
    EXPECT_EQ(calls().at(7), "C_Sign(0x1, 3031, null)");
}

TEST_F(SignData, aStoredKeyIdThatDoesNotDecodeGivesWayToTheRequests) {
    restart(Params().hex("KEYID", "not hexadecimal"));

    expectOutputs(runScript(kScript, request()), kSigned);
}

TEST_F(SignData, itReadsTheAccessValuesOfItsRequestItself) {
    plugin = Executor();
    startWithReader();

    expectOutputs(runScript(kScript, Params().hex("PIN", "31323334").append(request())),
                  {done(), {"SIGNEDDATA", 1, 2, kSignature}});
}

// Before the token is asked for a signature

TEST_F(SignData, aFailingLoginIsReportedAndNothingIsLoggedOut) {
    const Params params = Params().hex("PIN", "39393939");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ee")});
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 39393939)"});
    expectTrace(framed(params, failed(kScript, "login", 0xA0), result, loginAsUserTrace(1, 0xA0)));
}

TEST_F(SignData, withoutAPinTheLoginFails) {
    plugin = Executor();
    startWithReader();

    expectOutputs(execute(kScript, request()), {errorIs("80f8")});
    expectTraceAt(1, Trace{{1, "PKCS11Client::loginAsUser : no PIN Found"}} + failed(kScript, "login", 0x06));
}

struct SignFaultRow {
    const char* name;
    Params params;
    std::string message;
};

class SignDataFault : public SignData, public ::testing::WithParamInterface<SignFaultRow> {};

TEST_P(SignDataFault, isReportedAfterTheLoginAndLoggedOut) {
    const Params& params = GetParam().params;

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls(joined(kLoginCalls, {"C_Logout(0x1)"}));
    expectTrace(framed(params, failure(GetParam().message) + logoutTrace(kScript, 1), result));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_P(SignDataFault, isReportedAsItIsOnASessionThatWasLoggedInBefore) {
    logIn();

    const Result result = execute(kScript, GetParam().params);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls(kKeptCalls);
    EXPECT_EQ(fake.login(), Fake::Role::User);
}

Params withAlgorithm(const char* value) {
    return Params().plain("ALGOID", value).hex("KEYID", "0A").base64("DATA", "AQI=");
}

INSTANTIATE_TEST_SUITE_P(
    Faults, SignDataFault,
    ::testing::Values(
        SignFaultRow{"withoutAVector", Params::null(), "ALGOID parameter not found"},
        SignFaultRow{"nothing", Params(), "ALGOID parameter not found"},
        SignFaultRow{"noAlgorithm", Params().hex("KEYID", "0A").base64("DATA", "AQI="), "ALGOID parameter not found"},
        SignFaultRow{"emptyAlgorithm", withAlgorithm(""), "ALGOID parameter not found"},
        SignFaultRow{"identifiersAreExact", Params().plain("AlgoId", "1.2.840.113549.1.1.1"),
                     "ALGOID parameter not found"},
        SignFaultRow{"otherAlgorithm", withAlgorithm("1.2.840.113549.1.1.11"),
                     "Bad parameter ALGOID: 1.2.840.113549.1.1.11"},
        SignFaultRow{"algorithmWithBlank", withAlgorithm("1.2.840.113549.1.1.1 "),
                     "Bad parameter ALGOID: 1.2.840.113549.1.1.1 "},
        SignFaultRow{"anAlgorithmThatStandsForItsBytesIsShownAsThem",
                     Params().text("ALGOID", "1.2.840.113549.1.1.1").hex("KEYID", "0A").base64("DATA", "AQI="),
                     "Bad parameter ALGOID: 312E322E3834302E3131333534392E312E312E31"},
        SignFaultRow{"theAlgorithmIsCheckedFirst", Params().plain("ALGOID", "x"), "Bad parameter ALGOID: x"},
        SignFaultRow{"noKeyId", algorithm().base64("DATA", "AQI="), "KEYID parameter not found"},
        SignFaultRow{"noKeyIdAndNoData", algorithm(), "KEYID parameter not found"},
        SignFaultRow{"emptyKeyId", algorithm().hex("KEYID", "").base64("DATA", "AQI="), "KEYID parameter not found"},
        SignFaultRow{"undecodableKeyId", algorithm().hex("KEYID", "0").base64("DATA", "AQI="),
                     "KEYID parameter not found"},
        SignFaultRow{"keyIdInBadBase64", algorithm().base64("KEYID", "!").base64("DATA", "AQI="),
                     "KEYID parameter not found"},
        SignFaultRow{"noData", algorithm().hex("KEYID", "0A"), "DATA parameter not found"},
        SignFaultRow{"emptyData", algorithm().hex("KEYID", "0A").base64("DATA", ""), "DATA parameter not found"},
        SignFaultRow{"undecodableData", algorithm().hex("KEYID", "0A").base64("DATA", "A!I="),
                     "DATA parameter not found"},
        SignFaultRow{"dataThatIsNeitherHexNorBase64", algorithm().hex("KEYID", "0A").hex("DATA", "??"),
                     "DATA parameter not found"}),
    [](const auto& row) { return row.param.name; });

// No such key

TEST_F(SignData, aKeyThatIsNotFoundLeavesTheSearchOpen) {
    const Params params = algorithm().hex("KEYID", "0B0C").base64("DATA", "AQI=");

    const Result result = execute(kScript, params);

    expectOutputs(result, {errorIs("80f3")});
    expectCalls(joined(kLoginCalls, {"C_FindObjectsInit(0x1, [CKA_CLASS=3 CKA_ID=0B0C])", "C_FindObjects(0x1, max=1)",
                                     "C_Logout(0x1)"}));
    expectTrace(framed(params,
                       searchBegun("0B0C") + foundNothing(kScript, 1) + keyNotFound("0B0C") + logoutTrace(kScript, 1),
                       result));
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
}

TEST_F(SignData, aSearchLeftOpenIsNotCleanedUpByTheNextSignature) {
    static_cast<void>(execute(kScript, algorithm().hex("KEYID", "0B").base64("DATA", "AQI=")));
    forget();

    // Reported as a success, because this call logs in.
    expectOutputs(execute(kScript, request()), {done()});
    expectTraceAt(1, failed(kScript, "C_FindObjectsInit", 0x90));
}

TEST_F(SignData, aKeyThatIsNotFoundIsReportedOnASessionThatWasLoggedInBefore) {
    logIn();

    expectOutputs(execute(kScript, algorithm().hex("KEYID", "0B").base64("DATA", "AQI=")), {errorIs("80f3")});
    EXPECT_EQ(fake.callCount(Function::C_Logout), 0U);
    EXPECT_EQ(fake.callCount(Function::C_FindObjectsFinal), 0U);
}

TEST_F(SignData, aHandleOfZeroIsNoKey) {
    answerFinds(0, 1);

    const Result result = execute(kScript, request());

    expectOutputs(result, {errorIs("80f3")});
    expectTrace(framed(
        request(), searchBegun() + foundTrace(kScript, 1, 0) + keyNotFound("0A") + logoutTrace(kScript, 1), result));
    EXPECT_EQ(fake.callCount(Function::C_FindObjectsFinal), 0U);
}

TEST_F(SignData, aHandleWrittenWithoutACountIsNoKey) {
    answerFinds(0x101, 0);

    const Result result = execute(kScript, request());

    expectOutputs(result, {errorIs("80f3")});
    expectTrace(framed(request(),
                       searchBegun() + foundNothing(kScript, 1) + keyNotFound("0A") + logoutTrace(kScript, 1), result));
}

TEST_F(SignData, aCountAboveOneIsTakenAsOne) {
    overstateFinds(9);

    const Result result = execute(kScript, request());

    expectOutputs(result, kSigned);
    expectTrace(framed(request(), dataSigned() + logoutTrace(kScript, 1), result));
}

// Failures of the token: a success for those who had to log in, a failure for those who were logged in

struct SignFailureRow {
    const char* name;
    Function function;
    CK_RV rv;
    std::string code;
    unsigned pass;         ///< calls of this function that succeed before
    std::size_t signCalls; ///< calls made of kSignCalls
    Trace lines;
};

class SignDataFailure : public SignData, public ::testing::WithParamInterface<SignFailureRow> {
protected:
    void letFail() {
        fake.passNext(GetParam().function, GetParam().pass);
        fake.answerNext(GetParam().function, GetParam().rv, 1, Fake::When::After);
    }
};

TEST_P(SignDataFailure, isReportedAsASuccessWhereThisCallLoggedIn) {
    letFail();

    const Result result = execute(kScript, request());

    expectOutputs(result, {done()});
    expectCalls(joined(joined(kLoginCalls, signCalls(GetParam().signCalls)), {"C_Logout(0x1)"}));
    expectTrace(framed(request(), GetParam().lines + logoutTrace(kScript, 1), result));
}

TEST_P(SignDataFailure, isReportedAsItIsOnASessionThatWasLoggedInBefore) {
    logIn();
    letFail();

    const Result result = execute(kScript, request());

    expectOutputs(result, {errorIs(GetParam().code)});
    expectCalls(joined(kKeptCalls, signCalls(GetParam().signCalls)));
    expectTrace(framed(request(), GetParam().lines, result, alreadyLoggedInTrace(1)));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, SignDataFailure,
    ::testing::Values(
        SignFailureRow{"findObjectsInit", Function::C_FindObjectsInit, CKR_ATTRIBUTE_TYPE_INVALID, "80f9", 0, 1,
                       searchBegun() + failed(kScript, "C_FindObjectsInit", 0x12)},
        SignFailureRow{"findObjects", Function::C_FindObjects, CKR_DEVICE_REMOVED, "80eb", 0, 2,
                       searchBegun() + askedNext(kScript, 1) + failed(kScript, "C_FindObjects", 0x32)},
        SignFailureRow{"findObjectsFinal", Function::C_FindObjectsFinal, CKR_GENERAL_ERROR, "80f7", 0, 3,
                       keyFound() + failed(kScript, "C_FindObjectsFinal", 0x05)},
        SignFailureRow{"signInit", Function::C_SignInit, CKR_KEY_HANDLE_INVALID, "80fb", 0, 4,
                       keyFound() + signBegun() + failed(kScript, "C_SignInit", 0x60)},
        SignFailureRow{"signForTheLength", Function::C_Sign, CKR_DEVICE_ERROR, "80fa", 0, 5,
                       keyFound() + signBegun() + lengthAsked() + failed(kScript, "C_Sign", 0x30)},
        SignFailureRow{"sign", Function::C_Sign, CKR_DATA_LEN_RANGE, "80f9", 1, 6,
                       keyFound() + signBegun() + lengthAsked() + signatureAsked() + failed(kScript, "C_Sign", 0x21)},
        SignFailureRow{"aSmallBufferIsAFailureOfTheSecondPass", Function::C_Sign, CKR_BUFFER_TOO_SMALL, "80f5", 1, 6,
                       keyFound() + signBegun() + lengthAsked() + signatureAsked() + failed(kScript, "C_Sign", 0x150)}),
    [](const auto& row) { return row.param.name; });

TEST_F(SignData, aSmallBufferIsASuccessOfTheFirstPass) {
    fake.answerNext(Function::C_Sign, CKR_BUFFER_TOO_SMALL, 1, Fake::When::After);

    const Result result = execute(kScript, request());

    expectOutputs(result, kSigned);
    expectTrace(framed(request(), dataSigned() + logoutTrace(kScript, 1), result));
}

TEST_F(SignData, aSmallBufferOfTheFirstPassIsNoFailureOnASessionThatWasLoggedInBefore) {
    logIn();
    fake.answerNext(Function::C_Sign, CKR_BUFFER_TOO_SMALL, 1, Fake::When::After);

    expectOutputs(execute(kScript, request()), kSigned);
}

TEST_F(SignData, theLogoutIsRetriedUntilItSucceeds) {
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR, 2);
    fake.answerNext(Function::C_Logout, CKR_USER_NOT_LOGGED_IN);

    const Result result = execute(kScript, request());

    expectOutputs(result, kSigned);
    expectCalls(
        joined(joined(kLoginCalls, kSignCalls), {"C_Logout(0x1)", "C_Logout(0x1)", "C_Logout(0x1)", "C_Logout(0x1)"}));
    expectTrace(framed(request(),
                       dataSigned() + logoutTrace(kScript, 1, 0x30) + logoutTrace(kScript, 1, 0x30) +
                           logoutTrace(kScript, 1, 0x101) + logoutTrace(kScript, 1),
                       result));
}

TEST_F(SignData, theLogoutHasNoLimitOfTries) {
    fake.answerNext(Function::C_Logout, CKR_FUNCTION_FAILED, 1000);

    expectOutputs(execute(kScript, algorithm()), {errorIs("80ec")});
    EXPECT_EQ(fake.callCount(Function::C_Logout), 1001U);
}

TEST_F(SignData, theLogoutWaitsFromTheEleventhRefusalOn) {
    fake.answerNext(Function::C_Logout, CKR_FUNCTION_FAILED, 10);
    static_cast<void>(takeWaits());
    expectOutputs(execute(kScript, algorithm()), {errorIs("80ec")});
    EXPECT_TRUE(takeWaits().empty());

    fake.answerNext(Function::C_Logout, CKR_FUNCTION_FAILED, 130);
    forget();
    expectOutputs(execute(kScript, algorithm()), {errorIs("80ec")});
    std::vector<std::chrono::milliseconds> expected;
    for (const int wait : {1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1000, 1000}) {
        expected.insert(expected.end(), 10, std::chrono::milliseconds(wait));
    }
    EXPECT_EQ(takeWaits(), expected);
    // Each refusal is traced.
    EXPECT_EQ(std::ranges::count(trace().lines, 1U, &TraceLine::level), 131); // and the missing parameter
}

TEST_F(SignData, missingFunctionsAnswerAsNotSupported) {
    logIn();
    for (const Function function : {Function::C_Sign, Function::C_SignInit}) {
        fake.setNullEntry(function);
        expectOutputs(execute(kScript, request()), {errorIs("80f4")});
        expectTraceAt(1, failed(kScript, function == Function::C_Sign ? "C_Sign" : "C_SignInit", 0x54));
    }
}

// Hostile answers

TEST_F(SignData, aLengthThatIsNoneIsAGeneralError) {
    logIn();
    fake.hook<Function::C_Sign>([](CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG* length) {
        *length = CK_UNAVAILABLE_INFORMATION;
        return CK_RV{CKR_OK};
    });

    const Result result = execute(kScript, request());

    expectOutputs(result, {errorIs("80f7")});
    EXPECT_EQ(fake.callCount(Function::C_Sign), 1U);
    expectTrace(framed(request(), keyFound() + signBegun() + lengthAsked() + failed(kScript, "C_Sign", 0x05), result,
                       alreadyLoggedInTrace(1)));
}

TEST_F(SignData, aLengthBeyondTheBufferIsAGeneralError) {
    logIn();
    fake.hook<Function::C_Sign>([](CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE* signature, CK_ULONG* length) {
        *length = signature == nullptr ? 16 : 17;
        return CK_RV{CKR_OK};
    });

    const Result result = execute(kScript, request());

    expectOutputs(result, {errorIs("80f7")});
    expectTrace(framed(request(),
                       keyFound() + signBegun() + lengthAsked() + signatureAsked() + failed(kScript, "C_Sign", 0x05),
                       result, alreadyLoggedInTrace(1)));
}

TEST_F(SignData, aLengthBeyondReasonAnswersAsWithoutMemory) {
    logIn();
    fake.hook<Function::C_Sign>([](CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG* length) {
        *length = 0x7FFFFFFF;
        return CK_RV{CKR_OK};
    });

    expectOutputs(execute(kScript, request()), {errorIs("80f6")});
    EXPECT_EQ(fake.callCount(Function::C_Sign), 1U);
    expectTraceAt(1, failed(kScript, "C_Sign", 0x02));
}

TEST_F(SignData, aSignatureOfNoBytesIsAnEmptyOutput) {
    fake.hook<Function::C_Sign>([](CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE*, CK_ULONG* length) {
        *length = 0;
        return CK_RV{CKR_OK};
    });

    expectOutputs(execute(kScript, request()), {done(), {"SIGNEDDATA", 1, 2, ""}});
    EXPECT_EQ(calls().at(8), "C_Sign(0x1, 0102, room=0)");
}

TEST_F(SignData, wideHandlesAreNotCut) {
    fake.removeAllObjects();
    const auto object = static_cast<CK_OBJECT_HANDLE>(0x1122334400000031ULL);
    fake.setNextObjectHandle(object);
    addKey("0A");

    expectOutputs(execute(kScript, request()), kSigned);

    const std::string object0x = Fake::handleText(object);
    EXPECT_EQ(calls().at(6), "C_SignInit(0x1, CKM_RSA_PKCS, " + object0x + ")");
}

TEST_F(SignData, aSignatureShorterThanAnnouncedIsTakenAsItIs) {
    fake.hook<Function::C_Sign>([](CK_SESSION_HANDLE, CK_BYTE*, CK_ULONG, CK_BYTE* signature, CK_ULONG* length) {
        if (signature != nullptr) {
            signature[0] = 0xA1;
        }
        *length = signature == nullptr ? 256 : 1;
        return CK_RV{CKR_OK};
    });

    expectOutputs(execute(kScript, request()), {done(), {"SIGNEDDATA", 1, 2, "oQ=="}});
    EXPECT_EQ(calls().at(8), "C_Sign(0x1, 0102, room=256)");
}

// The script's own reading of the parameters serves the trace alone, and is left out then.
TEST_F(SignData, eachRequestSignsItsOwnDataWhenNobodyListens) {
    rylogSetReceiver(nullptr, nullptr, 0);

    expectOutputs(execute(kScript, request()), kSigned);
    expectOutputs(execute(kScript, algorithm().hex("KEYID", "0A").base64("DATA", "AwQ=")),
                  {done(), {"SIGNEDDATA", 1, 2, "AAH//////////////wD8+w=="}});
    EXPECT_EQ(calls().at(7), "C_Sign(0x1, 0102, null)");
    EXPECT_EQ(fake.callCount(Function::C_Login), 2U);
    expectTrace({});
}

} // namespace
} // namespace Conformance::SignDataTests
