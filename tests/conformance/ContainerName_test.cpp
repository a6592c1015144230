// The name of a key's container, which "writeData" hands to a writer with a login and a logout of its own.

#include "tests/conformance/ObjectTest.h"

#include <new>

namespace Conformance::ContainerNameTests {

using Fake::Function;

namespace {

const std::string kScript = "writeData";
const std::string kMethod = "writeContainerName";

Params naming(const Params& more) {
    return Params().plain("OBJ_TYPE", "CONTAINER_NAME").append(more);
}

/// Key 01 is to be called "abc".
Params namingKey() {
    return naming(Params().hex("KEYID", "01").hex("CONTAINER_NAME", "616263"));
}

Fake::Attributes keyWithId(const std::string& id) {
    return Fake::Attributes()
        .number(CKA_CLASS, CKO_PRIVATE_KEY)
        .boolean(CKA_PRIVATE, true)
        .number(CKA_KEY_TYPE, CKK_RSA)
        .hex(CKA_ID, id);
}

Trace complaint(const std::string& text) {
    return {{1, "PKCS11Client::writeContainerName: " + text}};
}

Trace keyNotFound(const std::string& id) {
    return {{1, "PKCS11Client::writeContainerName : key not found", id}};
}

Trace loginFailed(const std::string& rv) {
    return {{1, "PKCS11Client::writeContainerName : login " + rv + " : failed"}};
}

Trace searchAnnounced(const std::string& id, CK_SESSION_HANDLE session = 1) {
    return sessionCall(kMethod, "C_FindObjectsInit", session) +
           dumpedLines(kMethod, {{CKA_CLASS, numberDump(CKO_PRIVATE_KEY)}, {CKA_ID, id}});
}

Trace found(CK_OBJECT_HANDLE object, int count) {
    return call(kMethod, "C_FindObjects") + foundLines(kMethod, object, count);
}

Trace nameSet(CK_OBJECT_HANDLE object, CK_SESSION_HANDLE session = 1) {
    return sessionCall(kMethod, "C_SetAttributeValue", session) + in(kMethod, "hKeyObject", object);
}

/// Search, end of search and naming, where all goes well.
Trace success(CK_SESSION_HANDLE session = 1) {
    return searchAnnounced("01", session) + findCall(kMethod, session) + found(0x101, 1) +
           sessionCall(kMethod, "C_FindObjectsFinal", session) + nameSet(0x101, session);
}

const std::string kInit = "C_FindObjectsInit(0x1, [CKA_CLASS=3 CKA_ID=01])";
const std::string kFind = "C_FindObjects(0x1, max=1)";
const std::string kFinal = "C_FindObjectsFinal(0x1)";
const std::string kSet = "C_SetAttributeValue(0x1, 0x101, [0x80000008=616263])";

} // namespace

class ContainerName : public ObjectTest {
protected:
    /// "writeData" with the writer inside, whose login finds the user logged in already.
    static Trace nested(const Params& params, const Trace& body, const std::string& error) {
        return storyOf(kScript, params,
                       loginAsUserTrace(1) + entry(kMethod) + operationParameters(kMethod, params.ids()) +
                           readParametersTrace(params.ids()) + alreadyLoggedInTrace(1) + body + leave(kMethod) +
                           logoutTrace(kScript, 1),
                       error);
    }
    /// As `loggedIn`, with what the writer's own login asks.
    static std::vector<std::string> nestedCalls(const std::vector<std::string>& middle) {
        std::vector<std::string> all = {"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)"};
        all.insert(all.end(), middle.begin(), middle.end());
        return loggedIn(all);
    }
    /// Only the writer's login logs in: that of "writeData" meets an unknown state.
    static std::vector<std::string> ownLoginCalls(const std::vector<std::string>& middle) {
        std::vector<std::string> all = {"C_OpenSession(0x11, flags=0x6)", "C_GetSessionInfo(0x1)",
                                        "C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)",
                                        "C_Login(0x1, CKU_USER, 31323334)"};
        all.insert(all.end(), middle.begin(), middle.end());
        return all;
    }
    static Trace ownLogin(const Params& params, const Trace& body, const std::string& error) {
        return storyOf(kScript, params,
                       entry("loginAsUser") + openSessionTrace(CKF_RW_SESSION, 1) + authenticatedUserTrace(1, 9) +
                           leave("loginAsUser") + entry(kMethod) + operationParameters(kMethod, params.ids()) +
                           readParametersTrace(params.ids()) + loginOnOpenSessionTrace(1) + body + leave(kMethod),
                       error);
    }
    /// The module forgets the session, and the login with it, just before the writer's own login asks for it.
    void loseSessionBetweenTheLogins() {
        m_asked = 0;
        fake.hook<Function::C_GetSessionInfo>([this](CK_SESSION_HANDLE session, CK_SESSION_INFO* info) -> CK_RV {
            if (++m_asked == 2) {
                fake.dropSessions();
            }
            return fake.honest().C_GetSessionInfo(session, info);
        });
    }
    /// What both logins and the naming of the key call when the session is lost between the logins.
    static std::vector<std::string> lostSessionCalls(const std::vector<std::string>& logouts) {
        std::vector<std::string> all = {"C_OpenSession(0x11, flags=0x6)",
                                        "C_GetSessionInfo(0x1)",
                                        "C_Login(0x1, CKU_USER, 31323334)",
                                        "C_GetSessionInfo(0x1)",
                                        "C_CloseSession(0x1)",
                                        "C_OpenSession(0x11, flags=0x6)",
                                        "C_GetSessionInfo(0x2)",
                                        "C_Login(0x2, CKU_USER, 31323334)",
                                        "C_FindObjectsInit(0x2, [CKA_CLASS=3 CKA_ID=01])",
                                        "C_FindObjects(0x2, max=1)",
                                        "C_FindObjectsFinal(0x2)",
                                        "C_SetAttributeValue(0x2, 0x101, [0x80000008=616263])"};
        all.insert(all.end(), logouts.begin(), logouts.end());
        return all;
    }
    /// The same as a trace; `logouts` are those of the writer, `last` that of "writeData".
    static Trace lostSession(const Params& params, const Trace& logouts, const Trace& last, const std::string& error) {
        const Trace secondLogin = entry("loginAsUser") + replaceStaleSessionTrace(1, 2) +
                                  authenticatedUserTrace(2, CKS_RW_PUBLIC_SESSION) +
                                  Trace{{2, "PKCS11Client::loginAsUser : C_Login"},
                                        {4, "PKCS11Client::loginAsUser: --> hSession=0x2"},
                                        {4, "PKCS11Client::loginAsUser: --> CKU_USER"}} +
                                  leave("loginAsUser");
        return storyOf(kScript, params,
                       loginAsUserTrace(1) + entry(kMethod) + operationParameters(kMethod, params.ids()) +
                           readParametersTrace(params.ids()) + secondLogin + success(2) + logouts + leave(kMethod) +
                           last,
                       error);
    }
    /// Refused with 33004 and this one complaint; nothing is looked for.
    void expectRefused(const Params& params, const std::string& text, Where where = Where::current()) {
        fake.restartCallCount();
        expectError(execute(kScript, params), "80ec", where);
        expectTraceAt(1, complaint(text), where);
        EXPECT_EQ(fake.callCount(Function::C_FindObjectsInit), 0U);
        forget();
    }
    void expectNamed(const Params& params, const std::string& name, Where where = Where::current()) {
        const CK_OBJECT_HANDLE key = fake.addObject(keyWithId("01"));
        expectError(execute(kScript, params), "0", where);
        EXPECT_EQ(fake.object(key)->hexOf(0x80000008), name);
        fake.removeAllObjects();
        forget();
    }

private:
    int m_asked = 0;
};

TEST_F(ContainerName, theKeyGetsTheName) {
    fake.addObject(keyWithId("01"));
    const Params params = namingKey();

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(nestedCalls({kInit, kFind, kFinal, kSet}));
    expectTrace(nested(params, success(), "0"));
    EXPECT_EQ(fake.object(0x101)->hexOf(0x80000008), "616263");
}

TEST_F(ContainerName, theSearchIsForAPrivateKeyWithThatIdAlone) {
    fake.addObject(keyWithId("0100"));
    fake.addObject(Fake::Attributes().number(CKA_CLASS, CKO_PUBLIC_KEY).hex(CKA_ID, "01"));
    fake.addObject(keyWithId("01"));

    expectError(execute(kScript, namingKey()), "0");

    EXPECT_EQ(fake.object(0x101)->hexOf(0x80000008), std::nullopt);
    EXPECT_EQ(fake.object(0x102)->hexOf(0x80000008), std::nullopt);
    EXPECT_EQ(fake.object(0x103)->hexOf(0x80000008), "616263");
}

TEST_F(ContainerName, ofSeveralKeysTheFirstGetsTheName) {
    fake.addObject(keyWithId("01"));
    fake.addObject(keyWithId("01"));
    expectError(execute(kScript, namingKey()), "0");
    EXPECT_EQ(fake.callCount(Function::C_FindObjects), 1U);
    EXPECT_EQ(fake.object(0x102)->hexOf(0x80000008), std::nullopt);
}

TEST_F(ContainerName, theNameEndsAtItsFirstZeroByte) {
    expectNamed(naming(Params().hex("KEYID", "01").hex("CONTAINER_NAME", "6162630064656600")), "616263");
}

TEST_F(ContainerName, theIdKeepsItsZeroBytes) {
    fake.addObject(keyWithId("0001000200"));
    expectError(execute(kScript, naming(Params().hex("KEYID", "0001000200").hex("CONTAINER_NAME", "41"))), "0");
    expectCalls(nestedCalls({"C_FindObjectsInit(0x1, [CKA_CLASS=3 CKA_ID=0001000200])", kFind, kFinal,
                             "C_SetAttributeValue(0x1, 0x101, [0x80000008=41])"}));
}

TEST_F(ContainerName, theDefaultFlagChangesNothing) {
    for (const char* flag : {"1", "0", ""}) {
        expectNamed(namingKey().plain("DEFAULT_CONTAINER", flag), "616263");
    }
    const Params params = naming(Params().plain("DEFAULT_CONTAINER", "1"));
    expectRefused(params, "KEYID parameter not found");
}

TEST_F(ContainerName, idAndNameAreTheTextAsItStandsWhateverTheEncoding) {
    expectNamed(naming(Params().plain("KEYID", "01").base64("CONTAINER_NAME", "4142")), "4142");
}

TEST_F(ContainerName, ofRepeatedParametersTheLastCounts) {
    expectNamed(
        naming(Params().hex("KEYID", "02").hex("CONTAINER_NAME", "41").hex("CONTAINER_NAME", "42").hex("KEYID", "01")),
        "42");
}

TEST_F(ContainerName, aRepetitionWithoutBytesSetsNothing) {
    expectNamed(
        namingKey().hex("KEYID", "xy").hex("KEYID", "").hex("CONTAINER_NAME", "4").hex("CONTAINER_NAME", "0041"),
        "616263");
}

TEST_F(ContainerName, withoutAnIdOrANameItIsRefused) {
    const Params id = Params().hex("KEYID", "01");
    const Params name = Params().hex("CONTAINER_NAME", "616263");
    expectRefused(naming(Params()), "KEYID parameter not found");
    expectRefused(naming(name), "KEYID parameter not found");
    expectRefused(naming(id), "CONTAINER_NAME parameter not found");
    for (const char* nothing : {"", "1", "no hexadecimal"}) {
        expectRefused(naming(Params(name).hex("KEYID", nothing)), "KEYID parameter not found");
        expectRefused(naming(Params(id).hex("CONTAINER_NAME", nothing)), "CONTAINER_NAME parameter not found");
        expectRefused(naming(Params().hex("CONTAINER_NAME", nothing).hex("KEYID", nothing)),
                      "KEYID parameter not found");
    }
    expectRefused(naming(Params(id).plain("container_name", "41")), "CONTAINER_NAME parameter not found");
}

TEST_F(ContainerName, aNameThatBeginsWithAZeroByteCountsAsMissing) {
    expectRefused(naming(Params().hex("KEYID", "01").hex("CONTAINER_NAME", "00616263")),
                  "CONTAINER_NAME parameter not found");
}

TEST_F(ContainerName, aMissingIdIsToldInTheWholeTrace) {
    const Params params = naming(Params());
    expectOutputs(execute(kScript, params), {errorIs("80ec")});
    expectCalls(nestedCalls({}));
    expectTrace(nested(params, complaint("KEYID parameter not found"), "80ec"));
}

TEST_F(ContainerName, aMissingNameIsToldInTheWholeTrace) {
    const Params params = naming(Params().hex("KEYID", "01"));
    expectOutputs(execute(kScript, params), {errorIs("80ec")});
    expectCalls(nestedCalls({}));
    expectTrace(nested(params, complaint("CONTAINER_NAME parameter not found"), "80ec"));
}

TEST_F(ContainerName, aKeyThatIsNotFoundLeavesTheSearchOpen) {
    const Params params = namingKey();

    expectOutputs(execute(kScript, params), {errorIs("80f3")});

    expectCalls(nestedCalls({kInit, kFind}));
    expectTrace(nested(params, searchAnnounced("01") + findCall(kMethod, 1) + found(0, 0) + keyNotFound("01"), "80f3"));
    ASSERT_EQ(fake.sessionCount(), 1U);
    EXPECT_TRUE(fake.sessions()[0].searchActive);
}

TEST_F(ContainerName, theNextSearchMustCopeWithTheOneThatWasLeftOpen) {
    expectError(execute(kScript, namingKey()), "80f3");
    forget();
    fake.addObject(keyWithId("01"));

    expectError(execute(kScript, namingKey()), "80f5");

    expectTraceAt(1, failed(kMethod, "C_FindObjectsInit", CKR_OPERATION_ACTIVE));
}

TEST_F(ContainerName, aHandleOfZeroIsNoKey) {
    answerFinds(0, 1);
    const Params params = namingKey();
    expectError(execute(kScript, params), "80f3");
    expectTrace(nested(params, searchAnnounced("01") + findCall(kMethod, 1) + found(0, 1) + keyNotFound("01"), "80f3"));
}

TEST_F(ContainerName, aHandleWithoutACountIsNoKeyAndNotShown) {
    answerFinds(0x101, 0);
    const Params params = namingKey();
    expectError(execute(kScript, params), "80f3");
    expectTrace(nested(params, searchAnnounced("01") + findCall(kMethod, 1) + found(0, 0) + keyNotFound("01"), "80f3"));
}

TEST_F(ContainerName, aCountAboveOneIsTakenAsOne) {
    fake.addObject(keyWithId("01"));
    answerFinds(0x101, 9);
    const Params params = namingKey();
    expectError(execute(kScript, params), "0");
    expectTrace(nested(params, success(), "0"));
}

TEST_F(ContainerName, aSearchThatDoesNotBeginEndsIt) {
    fake.answerNext(Function::C_FindObjectsInit, CKR_DEVICE_ERROR);
    const Params params = namingKey();
    expectOutputs(execute(kScript, params), {errorIs("80fa")});
    expectCalls(nestedCalls({kInit}));
    expectTrace(nested(params, searchAnnounced("01") + failed(kMethod, "C_FindObjectsInit", CKR_DEVICE_ERROR), "80fa"));
}

TEST_F(ContainerName, aSearchThatFailsStaysOpen) {
    fake.answerNext(Function::C_FindObjects, CKR_DEVICE_REMOVED);
    const Params params = namingKey();
    expectOutputs(execute(kScript, params), {errorIs("80eb")});
    expectCalls(nestedCalls({kInit, kFind}));
    expectTrace(nested(
        params, searchAnnounced("01") + findCall(kMethod, 1) + failed(kMethod, "C_FindObjects", CKR_DEVICE_REMOVED),
        "80eb"));
    EXPECT_TRUE(fake.sessions().at(0).searchActive);
}

TEST_F(ContainerName, aSearchThatDoesNotEndLeavesTheKeyAsItWas) {
    fake.addObject(keyWithId("01"));
    fake.answerNext(Function::C_FindObjectsFinal, CKR_GENERAL_ERROR);
    const Params params = namingKey();
    expectOutputs(execute(kScript, params), {errorIs("80f7")});
    expectCalls(nestedCalls({kInit, kFind, kFinal}));
    expectTrace(nested(params,
                       searchAnnounced("01") + findCall(kMethod, 1) + found(0x101, 1) +
                           sessionCall(kMethod, "C_FindObjectsFinal", 1) +
                           failed(kMethod, "C_FindObjectsFinal", CKR_GENERAL_ERROR),
                       "80f7"));
}

TEST_F(ContainerName, aTokenThatRefusesTheAttributeIsReported) {
    fake.addObject(keyWithId("01"));
    fake.answerNext(Function::C_SetAttributeValue, CKR_ATTRIBUTE_TYPE_INVALID);
    const Params params = namingKey();
    expectOutputs(execute(kScript, params), {errorIs("80f9")});
    expectCalls(nestedCalls({kInit, kFind, kFinal, kSet}));
    expectTrace(nested(params, success() + failed(kMethod, "C_SetAttributeValue", CKR_ATTRIBUTE_TYPE_INVALID), "80f9"));
}

TEST_F(ContainerName, missingFunctionsAnswerAsNotSupported) {
    struct Missing {
        Function function;
        const char* name;
        std::vector<std::string> before; ///< the calls up to it
    };
    for (const Missing& missing :
         std::vector<Missing>{{Function::C_SetAttributeValue, "C_SetAttributeValue", {kInit, kFind, kFinal}},
                              {Function::C_FindObjectsFinal, "C_FindObjectsFinal", {kInit, kFind}},
                              {Function::C_FindObjects, "C_FindObjects", {kInit}},
                              {Function::C_FindObjectsInit, "C_FindObjectsInit", {}}}) {
        SCOPED_TRACE(missing.name);
        fake.reset();
        plugin = Executor();
        ASSERT_NO_FATAL_FAILURE(startWithReader(Params().hex("PIN", "31323334")));
        fake.addObject(keyWithId("01"));
        fake.setNullEntry(missing.function);

        expectOutputs(execute(kScript, namingKey()), {errorIs("80f4")});

        expectCalls(nestedCalls(missing.before));
        expectTraceAt(1, failed(kMethod, missing.name, CKR_FUNCTION_NOT_SUPPORTED));
    }
}

TEST_F(ContainerName, aFailedLoginOfItsOwnEndsIt) {
    hideStateFor(1);
    fake.answerNext(Function::C_Login, CKR_PIN_INCORRECT);
    expectOutputs(execute(kScript, namingKey()), {errorIs("80ee")});
    expectCalls(ownLoginCalls({}));
    expectTraceAt(1, failed("loginAsUser", "C_Login", CKR_PIN_INCORRECT) + loginFailed("0xa0"));
}

TEST_F(ContainerName, aSessionThatCannotBeAskedIsALoginFailureAndWriteDataStillLogsOut) {
    fake.passNext(Function::C_GetSessionInfo);
    fake.answerNext(Function::C_GetSessionInfo, CKR_DEVICE_ERROR);
    expectOutputs(execute(kScript, namingKey()), {errorIs("80fa")});
    expectCalls(loggedIn({"C_GetSessionInfo(0x1)"}));
    expectTraceAt(1, failedTight("openSession", "C_GetSessionInfo", CKR_DEVICE_ERROR) +
                         failed("loginAsUser", "openSession", CKR_DEVICE_ERROR) + loginFailed("0x30"));
}

TEST_F(ContainerName, itLogsOutOnlyWhereItsOwnLoginLoggedIn) {
    fake.addObject(keyWithId("01"));
    hideStateFor(1);
    const Params params = namingKey();

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(ownLoginCalls({kInit, kFind, kFinal, kSet, "C_Logout(0x1)"}));
    expectTrace(ownLogin(params, success() + logoutTrace(kMethod, 1), "0"));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(ContainerName, itsOwnLoginEndsWhereMemoryDoes) {
    hideStateFor(1);
    fake.hook<Function::C_FindObjects>(
        [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE*, CK_ULONG, CK_ULONG*) -> CK_RV { throw std::bad_alloc(); });

    expectOutputs(execute(kScript, namingKey()), {errorIs("80f6")});

    expectCalls(ownLoginCalls({kInit, kFind, "C_Logout(0x1)"}));
    EXPECT_EQ(fake.login(), Fake::Role::Nobody);
}

TEST_F(ContainerName, itsOwnFailedLogoutIsAnnouncedWithEachTryAndRewritesError) {
    fake.addObject(keyWithId("01"));
    hideStateFor(1);
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);
    const Params params = namingKey();

    expectOutputs(execute(kScript, params), {errorIs("80fa")});

    expectCalls(ownLoginCalls({kInit, kFind, kFinal, kSet, "C_Logout(0x1)", "C_Logout(0x1)", "C_Logout(0x1)"}));
    expectTrace(ownLogin(params,
                         success() + logoutTrace(kMethod, 1, CKR_GENERAL_ERROR) +
                             logoutTrace(kMethod, 1, CKR_DEVICE_ERROR) + logoutTrace(kMethod, 1),
                         "80fa"));
}

TEST_F(ContainerName, aSessionLostBetweenTheLoginsIsReplacedAndBothLogOut) {
    fake.addObject(keyWithId("01"));
    loseSessionBetweenTheLogins();
    // The writer has logged the user out by the time "writeData" does, whose tries have no limit either.
    fake.passNext(Function::C_Logout);
    fake.answerNext(Function::C_Logout, CKR_USER_NOT_LOGGED_IN, 2);
    fake.answerNext(Function::C_Logout, CKR_OK);
    const Params params = namingKey();

    expectOutputs(execute(kScript, params), {done()});

    expectCalls(lostSessionCalls({"C_Logout(0x2)", "C_Logout(0x2)", "C_Logout(0x2)", "C_Logout(0x2)"}));
    expectTrace(lostSession(
        params, logoutTrace(kMethod, 2),
        logoutTrace(kScript, 2, CKR_USER_NOT_LOGGED_IN) + failed(kScript, "C_Logout", CKR_USER_NOT_LOGGED_IN), "0"));
    EXPECT_EQ(fake.object(0x101)->hexOf(0x80000008), "616263");
}

TEST_F(ContainerName, afterALostSessionTheWritersFailedLogoutStandsAndThatOfWriteDataDoesNot) {
    fake.addObject(keyWithId("01"));
    loseSessionBetweenTheLogins();
    fake.answerNext(Function::C_Logout, CKR_DEVICE_ERROR);
    fake.passNext(Function::C_Logout);
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    fake.answerNext(Function::C_Logout, CKR_OK);
    const Params params = namingKey();

    expectOutputs(execute(kScript, params), {errorIs("80fa")});

    expectCalls(lostSessionCalls({"C_Logout(0x2)", "C_Logout(0x2)", "C_Logout(0x2)", "C_Logout(0x2)"}));
    expectTrace(lostSession(params, logoutTrace(kMethod, 2, CKR_DEVICE_ERROR) + logoutTrace(kMethod, 2),
                            logoutTrace(kScript, 2, CKR_GENERAL_ERROR), "80fa"));
}

TEST_F(ContainerName, itsOwnFailedLogoutReplacesAFailedCallsCode) {
    hideStateFor(1);
    fake.answerNext(Function::C_FindObjects, CKR_DEVICE_REMOVED);
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    expectError(execute(kScript, namingKey()), "80f7");
}

TEST_F(ContainerName, itsOwnFailedLogoutLeavesAClientCode) {
    hideStateFor(1);
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    expectError(execute(kScript, naming(Params())), "80ec");
    forget();

    hideStateFor(2); // the open session is asked once more
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR);
    expectError(execute(kScript, namingKey()), "80f3");
    expectTraceAt(1, keyNotFound("01") + failed(kMethod, "C_Logout", CKR_GENERAL_ERROR));
}

TEST_F(ContainerName, itsOwnLogoutIsTriedWithoutLimit) {
    hideStateFor(1);
    fake.answerNext(Function::C_Logout, CKR_GENERAL_ERROR, 40);
    expectError(execute(kScript, naming(Params())), "80ec");
    EXPECT_EQ(fake.callCount(Function::C_Logout), 41U);
}

TEST_F(ContainerName, ofAUserWhoWasLoggedInBeforeNobodyIsLoggedOut) {
    fake.addObject(keyWithId("01"));
    authenticate();

    expectOutputs(execute(kScript, namingKey()), {done()});

    expectCalls({"C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)", "C_GetSessionInfo(0x1)",
                 kInit, kFind, kFinal, kSet});
}

} // namespace Conformance::ContainerNameTests
