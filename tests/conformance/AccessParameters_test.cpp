// initialize and terminate, and what they read.

#include "tests/conformance/Harness.h"
#include "tests/conformance/LifecycleTrace.h"

using namespace Conformance;
using Fake::Function;

namespace {

constexpr const char* kPinBytes = "31323334";

Failure badPinId(const std::string& value) {
    return {"ClientOperationException", "80ec", "Bad parameter PINID: " + value};
}

Trace counts(int access, int runtime) {
    return {{4, textf("PKCS11Client::initialize: --> Input Param accessParams %d items", access)},
            {4, textf("PKCS11Client::initialize: --> Input Param runtimeParameters %d items", runtime)}};
}

struct Members {
    std::string reader;
    std::string algoId;
    std::string keyId;
    std::string data;
};

Trace membersTrace(const Members& members) {
    return {{4, "PKCS11Client::initialize: m_tsCurrentReader=" + members.reader},
            {4, "PKCS11Client::initialize: m_tsAlgoId=" + members.algoId},
            {4, "PKCS11Client::initialize: m_tsKeyId=" + members.keyId},
            {4, "PKCS11Client::initialize: m_tsDataToSign=" + members.data}};
}

Trace failure(const std::string& text) {
    return {{1, text}};
}

} // namespace

class AccessParameters : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        plugin = Executor(creation());
        ASSERT_TRUE(plugin);
        forget();
    }

    /// Members as a further initialize tells them.
    void expectMembers(const Members& members, Where where = Where::current()) {
        plugin.terminate();
        forget();
        expectFailureNone(plugin.initialize(), where);
        expectTrace(entry("initialize") + counts(-1, -1) + membersTrace(members) + leave("initialize"), where);
    }

    static void expectFailureNone(const std::optional<Failure>& failure, Where where) {
        if (failure) {
            ADD_FAILURE_AT(where.file_name(), static_cast<int>(where.line())) << failure->message;
        }
    }

    void resolveReader() { run("getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex)); }

    unsigned m_sessions = 0;
};

// initialize

TEST_F(AccessParameters, twoNullVectorsAreMinusOneItems) {
    EXPECT_EQ(plugin.initialize(Params::null(), Params::null()), std::nullopt);
    expectTrace(entry("initialize") + counts(-1, -1) + membersTrace({}) + leave("initialize"));
    expectCalls({});
}

TEST_F(AccessParameters, emptyVectorsAreNoItems) {
    EXPECT_EQ(plugin.initialize(Params(), Params()), std::nullopt);
    expectTrace(entry("initialize") + counts(0, 0) + membersTrace({}) + leave("initialize"));
}

TEST_F(AccessParameters, allIdentifiersInTwoVectors) {
    const Params access = Params()
                              .hex("readerName", "41")
                              .hex("PIN", kPinBytes)
                              .hex("OLD_PIN", "31313131")
                              .hex("NEW_PIN", "32323232")
                              .plain("PINID", "USER")
                              .plain("AUTH_TYPE", "STATIC");
    const Params runtime = Params().plain("ALGOID", "1.2.3").hex("KEYID", "0102").base64("DATA", "AQI=");
    EXPECT_EQ(plugin.initialize(access, runtime), std::nullopt);
    expectTrace(entry("initialize") + counts(6, 3) + readParametersTrace(access.ids()) +
                readParametersTrace(runtime.ids()) + membersTrace({"41", "1.2.3", "0102", "0102"}) +
                leave("initialize"));
    expectCalls({});
}

TEST_F(AccessParameters, theAccessVectorAlone) {
    const Params access = Params().plain("KEYID", "0a");
    EXPECT_EQ(plugin.initialize(access, Params::null()), std::nullopt);
    expectTrace(entry("initialize") + counts(1, -1) + readParametersTrace({"KEYID"}) +
                membersTrace({"", "", "0a", ""}) + leave("initialize"));
}

TEST_F(AccessParameters, theRuntimeVectorAlone) {
    EXPECT_EQ(plugin.initialize(Params::null(), Params().plain("ALGOID", "x")), std::nullopt);
    expectTrace(entry("initialize") + counts(-1, 1) + readParametersTrace({"ALGOID"}) +
                membersTrace({"", "x", "", ""}) + leave("initialize"));
}

TEST_F(AccessParameters, noPinIsEverTraced) {
    const Params pins = Params().text("PIN", "secret-1").text("OLD_PIN", "secret-2").text("NEW_PIN", "secret-3");
    EXPECT_EQ(plugin.initialize(pins, pins), std::nullopt);
    expectTrace(entry("initialize") + counts(3, 3) + readParametersTrace(pins.ids()) + readParametersTrace(pins.ids()) +
                membersTrace({}) + leave("initialize"));
}

TEST_F(AccessParameters, aLaterOccurrenceWins) {
    EXPECT_EQ(plugin.initialize(Params().plain("KEYID", "01").plain("ALGOID", "a").plain("KEYID", "02")), std::nullopt);
    expectMembers({"", "a", "02", ""});
}

TEST_F(AccessParameters, aRuntimeValueWins) {
    EXPECT_EQ(plugin.initialize(Params().plain("KEYID", "01").plain("DATA", "02"),
                                Params().plain("DATA", "03").plain("readerName", "R")),
              std::nullopt);
    expectMembers({"R", "", "01", "03"});
}

TEST_F(AccessParameters, aLaterEmptyValueWinsToo) {
    EXPECT_EQ(plugin.initialize(Params().plain("KEYID", "01"), Params().plain("KEYID", "")), std::nullopt);
    expectMembers({});
}

TEST_F(AccessParameters, identifiersAreExact) {
    const Params params = Params()
                              .plain("readername", "1")
                              .plain("READERNAME", "2")
                              .plain("keyid", "3")
                              .plain("KEYID ", "4")
                              .plain("AlgoId", "5")
                              .plain("data", "6")
                              .plain("pinid", "nobody")
                              .plain("", "7");
    EXPECT_EQ(plugin.initialize(params), std::nullopt);
    expectTrace(entry("initialize") + counts(8, -1) + readParametersTrace(params.ids()) + membersTrace({}) +
                leave("initialize"));
}

TEST_F(AccessParameters, aThousandParametersAreRead) {
    Params params;
    for (int i = 0; i < 1000; ++i) {
        params.plain("KEYID", textf("%d", i));
    }
    EXPECT_EQ(plugin.initialize(params), std::nullopt);
    expectMembers({"", "", "999", ""});
}

TEST_F(AccessParameters, valuesAreCarriedWhole) {
    const std::string text = "%s%n\n\"ü\xF0\x9F\x94\x91" + std::string(20000, 'A');
    EXPECT_EQ(plugin.initialize(Params().plain("ALGOID", text)), std::nullopt);
    expectMembers({"", text, "", ""});
}

/// How a value text becomes a member, by encoding and type.
struct Decoding {
    int encoding;
    int type;
    std::string value;
    std::string member;
    bool isUnknown = false;
};

class AccessValueDecoding : public AccessParameters, public testing::WithParamInterface<Decoding> {};

TEST_P(AccessValueDecoding, goesByEncodingAndType) {
    const Decoding& c = GetParam();
    const Trace unknown = c.isUnknown ? failure("PKCS11Client::getValueFromEncoding: --> default case") : Trace();
    Params params;
    Trace lines;
    int index = 0;
    for (const std::string id : {"readerName", "ALGOID", "KEYID", "DATA"}) {
        params.add(id, c.encoding, c.type, c.value);
        lines += Trace{{4, textf("PKCS11Client::readParameters: accessParameters %d, ", index++) + id}} + unknown;
    }
    EXPECT_EQ(plugin.initialize(params), std::nullopt);
    expectTrace(entry("initialize") + counts(4, -1) + lines + membersTrace({c.member, c.member, c.member, c.member}) +
                leave("initialize"));
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, AccessValueDecoding,
    testing::Values(Decoding{0, 0, "AB", "AB"}, Decoding{0, 1, "AB", "4142"}, Decoding{0, 2, "AB", "4142"},
                    Decoding{0, 3, "AB", "4142"}, Decoding{0, 3, "ü", "C3BC"}, Decoding{0, 3, "", ""},
                    Decoding{1, 0, "AQI=", "0102"}, Decoding{1, 2, "AQI=", "0102"}, Decoding{1, 3, "AQI=", "0102"},
                    Decoding{1, 2, "no Base64!", ""}, Decoding{1, 2, "", ""}, Decoding{2, 0, "aB", "aB"},
                    Decoding{2, 3, "aB", "aB"}, Decoding{4, 0, "0a", "0a"}, Decoding{4, 3, "no hex", "no hex"},
                    Decoding{3, 0, "AB", "", true}, Decoding{3, 3, "AB", "", true}, Decoding{5, 0, "AB", "", true},
                    Decoding{6, 3, "AB", "", true}, Decoding{1000, 3, "AB", "", true}));

// PINs are decoded as the other values are.

TEST_F(AccessParameters, aPinIsHeldAsTheHexOfItsBytes) {
    for (const Params& params :
         {Params().text("PIN", "1234"), Params().bytes("PIN", kPinBytes), Params().hex("PIN", kPinBytes),
          Params().plain("PIN", kPinBytes), Params().rawText("PIN", kPinBytes)}) {
        EXPECT_EQ(plugin.initialize(params), std::nullopt);
        resolveReader();
        expectError(execute("authenticate", Params().plain("AUTH_TYPE", "STATIC")), "0");
        expectCalls({"C_OpenSession(0x11, flags=0x6)", textf("C_Login(0x%x, CKU_USER, 31323334)", ++m_sessions)});
        plugin.terminate();
    }
}

// State of the cycle

TEST_F(AccessParameters, valuesSurviveTerminateAndTheNextInitialize) {
    EXPECT_EQ(plugin.initialize(Params().plain("readerName", "R").plain("KEYID", "01")), std::nullopt);
    plugin.terminate();
    EXPECT_EQ(plugin.initialize(Params().plain("KEYID", "02"), Params().plain("ALGOID", "A")), std::nullopt);
    expectMembers({"R", "A", "02", ""});
}

TEST_F(AccessParameters, aNewExecutorKnowsNothingOfAnEarlierOne) {
    EXPECT_EQ(plugin.initialize(Params().plain("readerName", "R").hex("PIN", kPinBytes)), std::nullopt);
    plugin.free();
    plugin = Executor(creation());
    forget();
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    expectTrace(entry("initialize") + counts(-1, -1) + membersTrace({}) + leave("initialize"));
}

TEST_F(AccessParameters, initializeTwiceIsRefused) {
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    forget();
    expectFailure(plugin.initialize(Params().plain("KEYID", "01"), Params().plain("PINID", "so")),
                  {"ClientOperationException", "80ec", "Plugin not terminated"});
    expectTrace(entry("initialize") + counts(1, 1) + failure("PKCS11Client::initialize: Plugin not terminated"));
    // Nothing was read.
    expectMembers({});
}

TEST_F(AccessParameters, anExecutorThatIsNotReadyRefusesBeforeItReads) {
    plugin.free();
    fake.answerNext(Function::C_Initialize, CKR_GENERAL_ERROR);
    plugin = Executor(creation());
    ASSERT_TRUE(plugin);
    forget();
    for (int i = 0; i < 2; ++i) {
        expectFailure(plugin.initialize(Params().plain("PINID", "so")),
                      {"ClientOperationException", "80ec", "Plugin not validated"});
        expectTrace(entry("initialize") + counts(1, -1) + failure("PKCS11Client::initialize: Plugin not validated"));
    }
    expectCalls({});
}

// PINID

class BadPinId : public AccessParameters, public testing::WithParamInterface<std::string> {};

TEST_P(BadPinId, throws) {
    expectFailure(plugin.initialize(Params().plain("PINID", GetParam())), badPinId(GetParam()));
    expectTrace(entry("initialize") + counts(1, -1) + readParametersTrace({"PINID"}) +
                failure("PKCS11Client::readParameters: Bad parameter PINID: " + GetParam()));
    expectCalls({});
    // It stays possible to initialise.
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    expectError(execute("beginSynchronization"), "0");
}

INSTANTIATE_TEST_SUITE_P(Values, BadPinId,
                         testing::Values("so", "user", "So", "SO ", " SO", "USER\n", "", "SOUSER", "0", "1", "%s%n%ws",
                                         "5553", "ü", std::string(30000, 'x')));

TEST_F(AccessParameters, aPinIdIsTheRawValueWhateverItsEncoding) {
    EXPECT_EQ(plugin.initialize(Params().text("PINID", "SO").base64("PINID", "USER").add("PINID", 3, 3, "SO")),
              std::nullopt);
    plugin.terminate();
    expectFailure(plugin.initialize(Params().bytes("PINID", "534F")), badPinId("U08="));
}

TEST_F(AccessParameters, aBadPinIdKeepsWhatWasReadBefore) {
    expectFailure(plugin.initialize(Params().plain("KEYID", "01").plain("PINID", "x").plain("ALGOID", "A"),
                                    Params().plain("DATA", "02")),
                  badPinId("x"));
    expectTrace(entry("initialize") + counts(3, 1) + readParametersTrace({"KEYID", "PINID"}) +
                failure("PKCS11Client::readParameters: Bad parameter PINID: x"));
    expectMembers({"", "", "01", ""});
}

TEST_F(AccessParameters, aBadPinIdInTheRuntimeVectorKeepsTheAccessValues) {
    expectFailure(plugin.initialize(Params().plain("KEYID", "01"), Params().plain("ALGOID", "A").plain("PINID", "x")),
                  badPinId("x"));
    expectMembers({"", "A", "01", ""});
}

TEST_F(AccessParameters, theFirstBadPinIdOfTwoIsNamed) {
    expectFailure(plugin.initialize(Params().plain("PINID", "a").plain("PINID", "b")), badPinId("a"));
    plugin.terminate();
    // A good one behind it does not help.
    expectFailure(plugin.initialize(Params().plain("PINID", "a").plain("PINID", "SO")), badPinId("a"));
}

TEST_F(AccessParameters, afterABadPinIdTerminateIsNotNeeded) {
    expectFailure(plugin.initialize(Params().plain("PINID", "x")), badPinId("x"));
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    expectFailure(plugin.initialize(), {"ClientOperationException", "80ec", "Plugin not terminated"});
}

// AUTH_TYPE

class AuthType : public AccessParameters, public testing::WithParamInterface<std::string> {};

TEST_P(AuthType, otherThanStaticLeavesItNotGiven) {
    EXPECT_EQ(plugin.initialize(Params().hex("PIN", kPinBytes).plain("AUTH_TYPE", GetParam())), std::nullopt);
    resolveReader();
    expectError(execute("authenticate"), "80ec");
    expectTraceAt(1, failure("PKCS11Client::authenticate: AUTH_TYPE parameter not found"));
    expectCalls({});
}

TEST_P(AuthType, otherThanStaticLeavesItAsItWas) {
    EXPECT_EQ(plugin.initialize(Params().hex("PIN", kPinBytes).plain("AUTH_TYPE", "STATIC"),
                                Params().plain("AUTH_TYPE", GetParam())),
              std::nullopt);
    resolveReader();
    expectError(execute("authenticate"), "0");
    expectCalls({"C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
}

INSTANTIATE_TEST_SUITE_P(Values, AuthType,
                         testing::Values("static", "Static", "STATIC ", "DYNAMIC", "", "1", "535441544943"));

TEST_F(AccessParameters, anAuthTypeIsTheRawValueWhateverItsEncoding) {
    EXPECT_EQ(plugin.initialize(Params().hex("PIN", kPinBytes).text("AUTH_TYPE", "STATIC")), std::nullopt);
    resolveReader();
    expectError(execute("authenticate"), "0");
}

TEST_F(AccessParameters, authTypeSurvivesTerminate) {
    EXPECT_EQ(plugin.initialize(Params().plain("AUTH_TYPE", "STATIC")), std::nullopt);
    plugin.terminate();
    EXPECT_EQ(plugin.initialize(Params().hex("PIN", kPinBytes)), std::nullopt);
    resolveReader();
    expectError(execute("authenticate"), "0");
}

// The reader name is what getPlatformIdentifiers falls back on.

TEST_F(AccessParameters, theReaderNameIsUsedByScripts) {
    EXPECT_EQ(plugin.initialize(Params().text("readerName", "Fake Reader 0")), std::nullopt);
    expectError(execute("getPlatformIdentifiers"), "0");
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)", "C_GetTokenInfo(0x11)"});
}

// terminate

TEST_F(AccessParameters, terminateWithoutSession) {
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    forget();
    plugin.terminate();
    expectTrace(entry("terminate") + closeSessionTrace(std::nullopt) + leave("terminate"));
    expectCalls({});
}

TEST_F(AccessParameters, terminateClosesTheSession) {
    EXPECT_EQ(plugin.initialize(Params().hex("PIN", kPinBytes).plain("AUTH_TYPE", "STATIC")), std::nullopt);
    resolveReader();
    run("authenticate");
    plugin.terminate();
    expectTrace(entry("terminate") + closeSessionTrace(0x1) + leave("terminate"));
    expectCalls({"C_CloseSession(0x1)"});
    EXPECT_EQ(fake.sessionCount(), 0U);

    plugin.terminate();
    expectTrace(entry("terminate") + closeSessionTrace(std::nullopt) + leave("terminate"));
    expectCalls({});
}

TEST_F(AccessParameters, aSessionThatCannotBeClosedIsToldTwiceAndForgotten) {
    EXPECT_EQ(plugin.initialize(Params().hex("PIN", kPinBytes).plain("AUTH_TYPE", "STATIC")), std::nullopt);
    resolveReader();
    run("authenticate");
    fake.answerNext(Function::C_CloseSession, CKR_DEVICE_ERROR);
    plugin.terminate();
    expectTrace(entry("terminate") + closeSessionTrace(0x1, CKR_DEVICE_ERROR) +
                failed("terminate", "C_CloseSession", CKR_DEVICE_ERROR) + leave("terminate"));
    forget();

    plugin.terminate();
    expectCalls({});
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    leavesSessions = true;
}

TEST_F(AccessParameters, terminateBeforeInitializeIsAllowed) {
    plugin.terminate();
    expectTrace(entry("terminate") + closeSessionTrace(std::nullopt) + leave("terminate"));
    EXPECT_EQ(plugin.initialize(), std::nullopt);
}

TEST_F(AccessParameters, terminateOfAnExecutorThatIsNotReady) {
    plugin.free();
    fake.answerNext(Function::C_Initialize, CKR_GENERAL_ERROR);
    plugin = Executor(creation());
    forget();
    plugin.terminate();
    expectTrace(entry("terminate") + failure("PKCS11Client::terminate : Plugin is not validated") + leave("terminate"));
    expectCalls({});
}
