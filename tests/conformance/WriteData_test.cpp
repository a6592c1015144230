// The frame of "writeData": login, choice of the writer, logout. What is written is the writers' own tests' business.

#include "tests/conformance/ObjectTest.h"
#include "zel/ClientOperationException.h"

namespace Conformance::WriteDataTests {

using Fake::Function;

namespace {

const std::string kScript = "writeData";

Params ofType(const std::string& type) {
    return Params().plain("OBJ_TYPE", type);
}

Trace badType(const std::string& value) {
    return {{1, "PKCS11Client::writeData: Bad parameter CONTAINER_NAME: " + value}};
}

Trace loginFailed(const std::string& rv) {
    return {{1, "PKCS11Client::writeData : login " + rv + " : failed"}};
}

} // namespace

class WriteData : public ObjectTest {};

TEST_F(WriteData, withoutParametersNothingIsCalled) {
    const Result result = execute(kScript);

    expectOutputs(result, {errorIs("80ec")});
    expectCalls({});
    expectTrace(executeTrace(kScript, std::nullopt,
                             Trace{{1, "PKCS11Client::writeData: Bad parameter : pOpParams=NULL"}}, result));
}

TEST_F(WriteData, anEmptyVectorIsNoMissingOne) {
    const Params params;

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({}));
    expectTrace(storyOf(kScript, params, loginAsUserTrace(1) + logoutTrace(kScript, 1), "0"));
}

TEST_F(WriteData, withoutObjectTypeNothingIsWrittenAndSuccessIsReported) {
    const Params params = Params().plain("CERT_TYPE", "X_509").base64("DATA", "AQI=");

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(loggedIn({}));
    EXPECT_TRUE(fake.objects().empty());
    expectTrace(storyOf(kScript, params, loginAsUserTrace(1) + logoutTrace(kScript, 1), "0"));
}

TEST_F(WriteData, theObjectTypesIdIsComparedWithItsCase) {
    expectError(execute(kScript, Params().plain("obj_type", "nonsense")), "0");
    expectCalls(loggedIn({}));
}

TEST_F(WriteData, anUnknownObjectTypeIsToldAsABadContainerName) {
    const Params params = ofType("DATA");

    expectOutputs(execute(kScript, params), {errorIs("80ec")});

    expectCalls(loggedIn({}));
    expectTrace(storyOf(kScript, params, loginAsUserTrace(1) + badType("DATA") + logoutTrace(kScript, 1), "80ec"));
}

TEST_F(WriteData, objectTypesAreComparedExactly) {
    for (const char* type : {"certificate", "CERTIFICATE ", "Private_Key", "KEYPAIR", "ANY", "", "CONTAINER"}) {
        expectError(execute(kScript, ofType(type)), "80ec");
        expectTraceAt(1, badType(type));
        EXPECT_TRUE(fake.objects().empty());
    }
    forget();
}

TEST_F(WriteData, onlyTheFirstObjectTypeCounts) {
    expectError(execute(kScript, ofType("nonsense").plain("OBJ_TYPE", "CERTIFICATE")), "80ec");
    expectTraceAt(1, badType("nonsense"));

    expectError(execute(kScript, ofType("CERTIFICATE").plain("OBJ_TYPE", "nonsense")), "80ec");
    expectTraceAt(1, {{1, "PKCS11Client::writeCertificate: CERT_TYPE parameter not found"}});
}

TEST_F(WriteData, theObjectTypeMayStandAnywhere) {
    expectError(execute(kScript, Params().hex("LABEL", "41").plain("OBJ_TYPE", "CERTIFICATE")), "80ec");
    expectTraceAt(1, {{1, "PKCS11Client::writeCertificate: CERT_TYPE parameter not found"}});
}

struct WriterRow {
    const char* type;
    const char* method;
    const char* firstComplaint;
};

class WriteDataDispatch : public WriteData, public ::testing::WithParamInterface<WriterRow> {};

TEST_P(WriteDataDispatch, eachObjectTypeHasItsWriter) {
    const auto& [type, method, complaint] = GetParam();

    expectError(execute(kScript, ofType(type)), "80ec");

    expectTraceAt(1 | 8,
                  entry("execute") + entry(kScript) + entry("loginAsUser") + entry("openSession") + entry(method) +
                      (std::string(type) == "CONTAINER_NAME" ? entry("loginAsUser") + entry("openSession") : Trace()) +
                      Trace{{1, complaint}});
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WriteDataDispatch,
    ::testing::Values(WriterRow{"CERTIFICATE", "writeCertificate",
                                "PKCS11Client::writeCertificate: CERT_TYPE parameter not found"},
                      WriterRow{"PRIVATE_KEY", "writeKey", "PKCS11Client::writeKey: ALGOID parameter not found"},
                      WriterRow{"KEY_PAIR", "writeKey", "PKCS11Client::writeKey: ALGOID parameter not found"},
                      WriterRow{"CONTAINER_NAME", "writeContainerName",
                                "PKCS11Client::writeContainerName: KEYID parameter not found"}),
    [](const auto& row) { return std::string(row.param.type); });

TEST_F(WriteData, afterAFailedLoginNoWriterRunsAndNobodyIsLoggedOut) {
    fake.answerNext(Function::C_Login, CKR_PIN_INCORRECT);
    const Params params = ofType("CERTIFICATE").plain("CERT_TYPE", "X_509").base64("DATA", "AQI=");

    expectOutputs(execute(kScript, params), {errorIs("80ee")});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace(storyOf(kScript, params, loginAsUserTrace(1, CKR_PIN_INCORRECT) + loginFailed("0xa0"), "80ee"));
}

TEST_F(WriteData, aFailedLoginOutweighsABadObjectType) {
    fake.answerNext(Function::C_Login, CKR_PIN_LOCKED);
    expectError(execute(kScript, ofType("nonsense")), "80ef");
    expectTraceAt(1, failed("loginAsUser", "C_Login", CKR_PIN_LOCKED) + loginFailed("0xa4"));
}

TEST_F(WriteData, aSessionThatDoesNotOpenIsALoginFailure) {
    fake.answerNext(Function::C_OpenSession, CKR_TOKEN_NOT_PRESENT);
    expectError(execute(kScript, ofType("CERTIFICATE")), "80eb");
    expectCalls({"C_OpenSession(0x11, flags=0x6)"});
    expectTraceAt(1, failed("openSession", "C_OpenSession", CKR_TOKEN_NOT_PRESENT) +
                         failed("loginAsUser", "openSession", CKR_TOKEN_NOT_PRESENT) + loginFailed("0xe0"));
}

TEST_F(WriteData, theWritersCodeStandsThoughTheLogoutSucceeds) {
    fake.answerNext(Function::C_CreateObject, CKR_DEVICE_MEMORY);
    expectError(execute(kScript, ofType("CERTIFICATE").plain("CERT_TYPE", "X_509").base64("DATA", "AQI=")), "80f6");
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(WriteData, aFailedLogoutIsTriedAgainWithoutLimitAndNeverReachesError) {
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR, 40);
    const Params params;

    expectOutputs(execute(kScript, params), {done()});

    EXPECT_EQ(fake.callCount(Function::C_Logout), 41U);
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(WriteData, theLogoutIsAnnouncedOnceHoweverOftenItIsTried) {
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);
    fake.answerNext(Function::C_Logout, CKR_USER_NOT_LOGGED_IN);
    const Params params;

    expectOutputs(execute(kScript, params), {done()});

    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 31323334)",
                 "C_Logout(0x1)", "C_Logout(0x1)", "C_Logout(0x1)"});
    expectTrace(storyOf(kScript, params,
                        loginAsUserTrace(1) + sessionCall(kScript, "C_Logout", 1) +
                            failed(kScript, "C_Logout", CKR_DEVICE_ERROR) +
                            failed(kScript, "C_Logout", CKR_USER_NOT_LOGGED_IN),
                        "0"));
}

TEST_F(WriteData, aFailedLogoutLeavesABadObjectTypesCode) {
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);
    expectError(execute(kScript, ofType("nonsense")), "80ec");
    expectTraceAt(1, badType("nonsense") + failed(kScript, "C_Logout", CKR_DEVICE_ERROR));
}

TEST_F(WriteData, aFailedLogoutLeavesTheWritersCode) {
    fake.answerNext(Function::C_CreateObject, CKR_TEMPLATE_INCONSISTENT);
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);
    expectError(execute(kScript, ofType("CERTIFICATE").plain("CERT_TYPE", "X_509").base64("DATA", "AQI=")), "8106");
}

TEST_F(WriteData, aUserWhoWasLoggedInBeforeStaysLoggedIn) {
    authenticate();
    const Params params;

    expectOutputs(execute(kScript, params), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)"});
    EXPECT_EQ(fake.login(), Fake::Role::User);
    expectTrace(storyOf(kScript, params, alreadyLoggedInTrace(1), "0"));
}

TEST_F(WriteData, anUnknownStateIsNeitherLoggedInNorOut) {
    fake.setSessionState(9);
    expectError(execute(kScript, Params()), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)"});
}

TEST_F(WriteData, theOperationsOwnPinServes) {
    fake.setUserPin("5678");
    expectError(execute(kScript, Params().hex("PIN", "35363738")), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 35363738)",
                 "C_Logout(0x1)"});
}

TEST_F(WriteData, theScriptReadsItsParametersItself) {
    fake.setUserPin("5678");
    EXPECT_EQ(errorOf(kScript, Params().hex("PIN", "35363738")), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)", "C_Login(0x1, CKU_USER, 35363738)",
                 "C_Logout(0x1)"});
}

TEST_F(WriteData, aBadPinIdLeavesAsAnExceptionBeforeAnyCall) {
    const Result result = execute(kScript, ofType("CERTIFICATE").plain("PINID", "so"));
    expectFailure(result.failure, {"ClientOperationException", "80ec", "Bad parameter PINID: so"});
    expectCalls({});
}

} // namespace Conformance::WriteDataTests
