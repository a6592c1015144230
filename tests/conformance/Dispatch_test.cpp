// execute: what an operation must be, which script it runs, and what comes back. getSupportedScripts. Also the reader
// list where it grows beyond its first five places.

#include "plugin/Exports.h"
#include "ry/rylog.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/Operation.h"
#include "zel/LocalizedException.h"

#include <iterator>

using namespace Conformance;
using Fake::Function;

namespace {

struct ScriptName {
    const char* name;
    const char* method; ///< as the trace calls it
};

constexpr ScriptName kScripts[] = {
    {"getReaderList", "getReaderlist"},
    {"getPlatformIdentifiers", "getPlatformIdentifiers"},
    {"getCardState", "getCardState"},
    {"getAuthenticatorState", "getAuthenticatorState"},
    {"init", "initToken"},
    {"recycle", "recycle"},
    {"initAuthenticator", "initAuthenticator"},
    {"changeAuthenticator", "changeAuthenticator"},
    {"unlockAuthenticator", "unlockAuthenticator"},
    {"authenticate", "authenticate"},
    {"deauthenticate", "deauthenticate"},
    {"writeData", "writeData"},
    {"readData", "readData"},
    {"removeData", "removeData"},
    {"generateKeyPair", "generateKeyPair"},
    {"signData", "signData"},
    {"beginSynchronization", "beginSynchronisation"},
    {"endSynchronization", "endSynchronisation"},
};

Trace unknownType(const std::string& type) {
    return {
        {1, "PKCS11Client::execute:Unknown Operation Script type: client.p11.Larkspur required and not " + type + "!"}};
}

const Trace kUnknownScript = {{1, "PKCS11Client::execute:Unknown Operation Script!"}};

/// A vector that tells when it is destroyed, in the trace too.
class WatchedVector final : public Zel::Vector<Zel::Parameter> {
public:
    explicit WatchedVector(int& destroyed) : m_destroyed(destroyed) {}
    void* deletingDestructor(unsigned int flags) override {
        ++m_destroyed;
        rylogLog(L"HOST", 4, L"the parameters go");
        return Zel::Vector<Zel::Parameter>::deletingDestructor(flags);
    }

private:
    int& m_destroyed;
};

/// A vector that seems to have one element until that one has been taken.
class LateVector final : public Zel::Vector<Zel::Parameter> {
public:
    [[nodiscard]] std::uint32_t size() const noexcept override { return m_isTaken ? Vector::size() : 1; }
    [[nodiscard]] Zel::Parameter* at(std::uint32_t index) const override {
        m_isTaken = true;
        return Vector::at(index);
    }

private:
    mutable bool m_isTaken = false;
};

/// An operation that tells what was asked of it.
class WatchedOperation final : public Zel::BaseDLLObjectImpl<Zel::ClientOperation> {
public:
    WatchedOperation(const char* scriptType, const char* script, Params params)
        : m_scriptType(scriptType), m_script(script), m_params(std::move(params)) {}

    void* deletingDestructor(unsigned int flags) override {
        ++operationDestroyed;
        return runDestructor(this, flags);
    }
    [[nodiscard]] Zel::TString getId() const override { return L"watched"; }
    [[nodiscard]] Zel::TString getScriptType() const override { return toTString(m_scriptType); }
    [[nodiscard]] Zel::TString getScript() const override { return toTString(m_script); }
    [[nodiscard]] Zel::Vector<Zel::Parameter>* getParameters() const override {
        ++vectorsGiven;
        auto* const vector = new WatchedVector(vectorsDestroyed);
        vector->append(*m_params.vector());
        return vector;
    }

    mutable int vectorsGiven = 0;
    mutable int vectorsDestroyed = 0;
    int operationDestroyed = 0;

private:
    std::string m_scriptType;
    std::string m_script;
    Params m_params;
};

} // namespace

class Dispatch : public PluginTest {
protected:
    void expectOwnership(const char* scriptType, const char* script, const Params& params, bool throws = false) {
        WatchedOperation operation(scriptType, script, params);
        bool thrown = false;
        try {
            const std::unique_ptr<Zel::ClientOperationResponse, Destroy> response(plugin.get()->execute(&operation));
            EXPECT_EQ(toUtf8(response->getId()), "watched");
        } catch (const Zel::LocalizedException&) {
            thrown = true;
        }
        EXPECT_EQ(thrown, throws);
        EXPECT_EQ(operation.vectorsGiven, 1);
        EXPECT_EQ(operation.vectorsDestroyed, 1);
        EXPECT_EQ(operation.operationDestroyed, 0);
    }
};

// Preconditions

TEST_F(Dispatch, anExecutorThatIsNotReadyThrows) {
    fake.answerNext(Function::C_Initialize, CKR_GENERAL_ERROR);
    plugin = Executor(creation());
    ASSERT_TRUE(plugin);
    forget();
    expectFailure(execute("beginSynchronization", Params().plain("PINID", "so")).failure, kNotValidated);
    expectTrace(entry("execute") + Trace{{1, "PKCS11Client::execute: Plugin not validated"}});
    // Also where there is no operation.
    expectFailure(plugin.executeNull().failure, kNotValidated);
    expectTrace(entry("execute") + Trace{{1, "PKCS11Client::execute: Plugin not validated"}});
    expectCalls({});
}

TEST_F(Dispatch, anExecutorThatIsNotReadyAsksTheOperationNothing) {
    fake.answerNext(Function::C_Initialize, CKR_GENERAL_ERROR);
    plugin = Executor(creation());
    WatchedOperation operation(kScriptType, "getCardState", Params());
    EXPECT_THROW(static_cast<void>(plugin.get()->execute(&operation)), Zel::LocalizedException);
    EXPECT_EQ(operation.vectorsGiven, 0);
    EXPECT_EQ(operation.operationDestroyed, 0);
}

TEST_F(Dispatch, noOperationGivesNullWithoutExitLine) {
    start();
    const Result result = plugin.executeNull();
    EXPECT_TRUE(result.null);
    EXPECT_EQ(result.failure, std::nullopt);
    expectTrace(entry("execute"));
    expectCalls({});
}

TEST_F(Dispatch, scriptsRunWithoutInitializeAndAfterTerminate) {
    plugin = Executor(creation());
    expectError(execute("beginSynchronization"), "0");
    expectError(execute("getReaderList"), "0");
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    plugin.terminate();
    expectError(execute("getReaderList"), "0");
}

// Script type and script name

class ScriptType : public Dispatch, public testing::WithParamInterface<std::string> {};

TEST_P(ScriptType, isComparedIgnoringCase) {
    start();
    const Result result = plugin.execute("7", GetParam(), "getCardState", Params());
    EXPECT_EQ(result.id, "7");
    expectOutputs(result, {done(), {"CARDSTATE", 2, 3, "1"}});
    expectTrace(executeHead("getCardState", Params().ids(), "7", GetParam()) + entry("getCardState") +
                leave("getCardState") + executeTail(result));
}

INSTANTIATE_TEST_SUITE_P(Accepted, ScriptType,
                         testing::Values("client.p11.Larkspur", "CLIENT.P11.LARKSPUR", "client.p11.larkspur",
                                         "cLIENT.p11.lARKSPUR"));

class UnknownScriptType : public Dispatch, public testing::WithParamInterface<std::string> {};

TEST_P(UnknownScriptType, givesAResponseWithoutParameters) {
    start();
    const Params params = Params().plain("KEYID", "01");
    const Result result = plugin.execute("id-7", GetParam(), "getCardState", params);
    EXPECT_EQ(result.id, "id-7");
    EXPECT_FALSE(result.null);
    expectOutputs(result, {});
    expectTrace(executeHead("getCardState", params.ids(), "id-7", GetParam()) + unknownType(GetParam()) +
                leave("execute"));
    expectCalls({});
}

INSTANTIATE_TEST_SUITE_P(Refused, UnknownScriptType,
                         testing::Values("", "client.p11", "client.p11.Larkspur ", " client.p11.Larkspur",
                                         "client.p11.Larkspur2", "client.p12.Larkspur", "%ws%n%s", "ü",
                                         std::string(30000, 't')));

class UnknownScript : public Dispatch, public testing::WithParamInterface<std::string> {};

TEST_P(UnknownScript, givesAResponseWithoutParameters) {
    start();
    const Params params = Params().plain("KEYID", "01");
    const Result result = plugin.execute("", kScriptType, GetParam(), params);
    EXPECT_EQ(result.id, "");
    EXPECT_FALSE(result.null);
    expectOutputs(result, {});
    expectTrace(executeHead(GetParam(), params.ids(), "") + kUnknownScript + leave("execute"));
    expectCalls({});
}

INSTANTIATE_TEST_SUITE_P(Refused, UnknownScript,
                         testing::Values("", "GetReaderList", "getreaderlist", "getReaderlist", "getReaderList ",
                                         " getReaderList", "initToken", "beginSynchronisation", "endSynchronisation",
                                         "GETCARDSTATE", "initAuthenticator2", "%s%n", "ü", std::string(30000, 's')));

TEST_F(Dispatch, parametersAreReadEvenForAnUnknownTypeOrScript) {
    start();
    expectOutputs(plugin.execute("1", "other", "getCardState", Params().plain("KEYID", "01")), {});
    expectOutputs(execute("other", Params().plain("ALGOID", "A")), {});
    plugin.terminate();
    forget();
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    expectTraceAt(4, {{4, "PKCS11Client::initialize: --> Input Param accessParams -1 items"},
                      {4, "PKCS11Client::initialize: --> Input Param runtimeParameters -1 items"},
                      {4, "PKCS11Client::initialize: m_tsCurrentReader="},
                      {4, "PKCS11Client::initialize: m_tsAlgoId=A"},
                      {4, "PKCS11Client::initialize: m_tsKeyId=01"},
                      {4, "PKCS11Client::initialize: m_tsDataToSign="}});
}

class EveryScript : public Dispatch, public testing::WithParamInterface<ScriptName> {};

TEST_P(EveryScript, isFoundByItsName) {
    start();
    const Result result = execute(GetParam().name);
    const Trace written = trace();
    const std::size_t head = executeHead(GetParam().name, std::nullopt).lines.size();
    ASSERT_GT(written.lines.size(), head);
    EXPECT_EQ(written.lines[head], (TraceLine{8, std::string("PKCS11Client::") + GetParam().method}));
    for (const TraceLine& line : written.lines) {
        EXPECT_EQ(line.text.find("Unknown Operation Script"), std::string::npos);
    }
}

TEST_P(EveryScript, answersOneErrorAndThatFirst) {
    start();
    for (const Params& params : {Params::null(), Params(), Params().plain("unknown", "x")}) {
        const Result result = execute(GetParam().name, params);
        ASSERT_FALSE(result.outputs.empty());
        EXPECT_EQ(result.outputs[0].id, "ERROR");
        EXPECT_EQ(result.outputs[0].encoding, 2);
        EXPECT_EQ(result.outputs[0].type, 3);
        EXPECT_NE(result.outputs[0].value, "");
        for (std::size_t i = 1; i < result.outputs.size(); ++i) {
            EXPECT_NE(result.outputs[i].id, "ERROR");
        }
        fake.dropSessions();
        plugin.terminate();
    }
}

TEST_P(EveryScript, isNotFoundInUpperCase) {
    start();
    std::string name = GetParam().name;
    name[0] = static_cast<char>(name[0] - 'a' + 'A');
    expectOutputs(execute(name), {});
    expectTraceAt(1, kUnknownScript);
}

INSTANTIATE_TEST_SUITE_P(All, EveryScript, testing::ValuesIn(kScripts),
                         [](const testing::TestParamInfo<ScriptName>& script) {
                             return std::string(script.param.name);
                         });

// The operation's parameters

TEST_F(Dispatch, anOperationWithoutVectorUsesTheAccessValues) {
    start(Params().text("readerName", "Fake Reader 0"));
    const Result result = execute("getPlatformIdentifiers", Params::null());
    expectError(result, "0");
    EXPECT_EQ(result.value("SMOTYPE"), "50313147454E45524943");
}

TEST_F(Dispatch, anEmptyVectorIsListedAsNothing) {
    start();
    const Result result = execute("beginSynchronization", Params());
    expectOutputs(result, {done()});
    expectTrace(executeHead("beginSynchronization", Params().ids()) + entry("beginSynchronisation") +
                leave("beginSynchronisation") + executeTail(result));
}

TEST_F(Dispatch, parametersAreListedThenReadThenTheScriptRuns) {
    start();
    const Params params = Params().plain("KEYID", "01").plain("unknown", "x").add("DATA", 3, 3, "y").hex("PIN", "zz");
    const Result result = execute("endSynchronization", params);
    expectTrace(entry("execute") +
                Trace{executeHead("endSynchronization", std::nullopt).lines[1],
                      {4, "PKCS11Client::execute: --> Input Param operation.id = 1"},
                      {4, "PKCS11Client::execute: --> Input Param operation.scriptType = client.p11.Larkspur"},
                      {4, "PKCS11Client::execute: --> Input Param operation.script = endSynchronization"},
                      {4, "PKCS11Client::execute: --> Operation parameter 0, KEYID"},
                      {4, "PKCS11Client::execute: --> Operation parameter 1, unknown"},
                      {4, "PKCS11Client::execute: --> Operation parameter 2, DATA"},
                      {4, "PKCS11Client::execute: --> Operation parameter 3, PIN"},
                      {4, "PKCS11Client::readParameters: accessParameters 0, KEYID"},
                      {4, "PKCS11Client::readParameters: accessParameters 1, unknown"},
                      {4, "PKCS11Client::readParameters: accessParameters 2, DATA"},
                      {1, "PKCS11Client::getValueFromEncoding: --> default case"},
                      {4, "PKCS11Client::readParameters: accessParameters 3, PIN"},
                      {8, "PKCS11Client::endSynchronisation"},
                      {16, "PKCS11Client::endSynchronisation"},
                      {4, "PKCS11Client::executeOperation parameter 0, ERROR = 0"},
                      {16, "PKCS11Client::execute"}});
    expectOutputs(result, {done()});
    expectCalls({});
}

TEST_F(Dispatch, valuesOfAnOperationStayForLaterOnes) {
    start();
    run("beginSynchronization", Params().text("readerName", "Fake Reader 0"));
    expectError(execute("getPlatformIdentifiers"), "0");
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)", "C_GetTokenInfo(0x11)"});
}

TEST_F(Dispatch, theCurrentDirectoryIsTraced) {
    start();
    static_cast<void>(execute("beginSynchronization"));
    const Trace written = trace();
    ASSERT_GT(written.lines.size(), 1U);
    EXPECT_EQ(written.lines[1], executeHead("beginSynchronization", std::nullopt).lines[1]);
    EXPECT_GT(written.lines[1].text.size(), std::string("PKCS11Client::execute: --> Current Directory = ").size());
}

TEST_F(Dispatch, nothingButTheTraceChangesWhenNobodyListens) {
    rylogSetReceiver(nullptr, nullptr, 0);
    start(Params().hex("PIN", "31323334").plain("AUTH_TYPE", "STATIC"));
    expectOutputs(plugin.execute("id", kScriptType, "getPlatformIdentifiers", Params().hex("READERNAME", kReaderHex)),
                  {done(),
                   {"SMOTYPE", 4, 0, "50313147454E45524943"},
                   {"SMOID", 4, 0, "30303030303030303030303030303131"},
                   {"LABEL", 4, 0, "46616B6520546F6B656E20202020202020202020202020202020202020202020"}});
    expectOutputs(execute("authenticate"), {done()});
    expectOutputs(execute("unknown"), {});
    expectOutputs(plugin.execute("id", "unknown", "authenticate", Params()), {});
    EXPECT_NE(execute("authenticate", Params().plain("PINID", "x")).failure, std::nullopt);
    expectCalls({"C_GetSlotList(0, null)", "C_GetSlotList(0, room=1)", "C_GetSlotInfo(0x11)", "C_GetTokenInfo(0x11)",
                 "C_OpenSession(0x11, flags=0x6)", "C_Login(0x1, CKU_USER, 31323334)"});
    expectTrace({});
}

TEST_F(Dispatch, idAndTextsAreCarriedWhole) {
    start();
    const std::string id = "%s%n\n\"ü\xF0\x9F\x94\x91" + std::string(5000, 'i');
    const Result result = plugin.execute(id, kScriptType, "getCardState", Params::null());
    EXPECT_EQ(result.id, id);
    expectTrace(executeHead("getCardState", std::nullopt, id) + entry("getCardState") + leave("getCardState") +
                executeTail(result));
}

// A bad PINID

TEST_F(Dispatch, aBadPinIdLeavesAsAnException) {
    start();
    const Params params = Params().plain("KEYID", "01").plain("PINID", "so").plain("ALGOID", "A");
    expectFailure(execute("beginSynchronization", params).failure,
                  {"ClientOperationException", "80ec", "Bad parameter PINID: so"});
    // No script runs and no exit line is written.
    expectTrace(executeHead("beginSynchronization", std::nullopt) + operationParameters("execute", params.ids()) +
                readParametersTrace({"KEYID", "PINID"}) +
                Trace{{1, "PKCS11Client::readParameters: Bad parameter PINID: so"}});
    expectCalls({});
    expectError(execute("beginSynchronization"), "0");
}

TEST_F(Dispatch, aBadPinIdLeavesEvenFromAnUnknownTypeOrScript) {
    start();
    const Failure bad = {"ClientOperationException", "80ec", "Bad parameter PINID: "};
    expectFailure(plugin.execute("1", "other", "getCardState", Params().plain("PINID", "")).failure, bad);
    expectFailure(execute("other", Params().plain("PINID", "")).failure, bad);
}

TEST_F(Dispatch, failuresAreLocalizedExceptionsToo) {
    start();
    Operation operation("1", kScriptType, "getCardState", Params().plain("PINID", "x"));
    try {
        static_cast<void>(plugin.get()->execute(&operation));
        FAIL() << "nothing was thrown";
    } catch (const Zel::LocalizedException& error) {
        EXPECT_EQ(toUtf8(error.getErrorCode()), "80ec");
        EXPECT_EQ(toUtf8(error.getMessageText()), "Bad parameter PINID: x");
    }
}

// Ownership: the vector that the operation gives is destroyed once, the operation itself never.

TEST_F(Dispatch, theParameterVectorIsDestroyedOnEveryWay) {
    start();
    expectOwnership(kScriptType, "getCardState", Params().plain("KEYID", "01"));
    expectOwnership(kScriptType, "signData", Params());
    expectOwnership(kScriptType, "unknown", Params());
    expectOwnership("unknown", "getCardState", Params().plain("KEYID", "01"));
    expectOwnership(kScriptType, "getCardState", Params().plain("PINID", "x"), true);
    plugin.terminate();
}

TEST_F(Dispatch, aVectorIsAskedForItsSizeAfterEveryElement) {
    LateVector creationParams;
    creationParams.append(*Params().plain("readerPrefix", "P:").vector());
    creationParams.append(*creation().vector()); // without these there is no executor
    Zel::ClientOperationExecutor* const executor = newInstance(&creationParams);
    ASSERT_NE(executor, nullptr);
    LateVector access;
    access.append(*Params().plain("KEYID", "01").plain("ALGOID", "02").vector());
    forget();
    executor->initialize(&access, nullptr);
    expectTraceAt(4, {{4, "PKCS11Client::initialize: --> Input Param accessParams 1 items"},
                      {4, "PKCS11Client::initialize: --> Input Param runtimeParameters -1 items"},
                      {4, "PKCS11Client::readParameters: accessParameters 0, KEYID"},
                      {4, "PKCS11Client::readParameters: accessParameters 1, ALGOID"},
                      {4, "PKCS11Client::initialize: m_tsCurrentReader="},
                      {4, "PKCS11Client::initialize: m_tsAlgoId=02"},
                      {4, "PKCS11Client::initialize: m_tsKeyId=01"},
                      {4, "PKCS11Client::initialize: m_tsDataToSign="}});
    freeInstance(executor);
}

TEST_F(Dispatch, theParameterVectorGoesBehindTheExitLine) {
    start();
    WatchedOperation operation(kScriptType, "beginSynchronization", Params().plain("KEYID", "01"));
    plugin.get()->execute(&operation)->destroy();
    const Trace written = trace();
    ASSERT_GE(written.lines.size(), 3U);
    const std::vector<TraceLine> end(written.lines.end() - 3, written.lines.end());
    EXPECT_EQ(end, (std::vector<TraceLine>{{4, "PKCS11Client::executeOperation parameter 0, ERROR = 0"},
                                           {16, "PKCS11Client::execute"},
                                           {4, "the parameters go"}}));
}

// The synchronisation markers

TEST_F(Dispatch, synchronisationIsSpeltWithAnSInTheTrace) {
    start();
    for (const std::string which : {"begin", "end"}) {
        const Result result = execute(which + "Synchronization");
        expectOutputs(result, {done()});
        expectTrace(executeHead(which + "Synchronization", std::nullopt) + entry(which + "Synchronisation") +
                    leave(which + "Synchronisation") + executeTail(result));
        expectCalls({});
    }
}

// getSupportedScripts

TEST_F(Dispatch, allScriptsAreListedInOrder) {
    start();
    const std::unique_ptr<Zel::Vector<Zel::TString>, Destroy> scripts(plugin.get()->getSupportedScripts());
    ASSERT_NE(scripts, nullptr);
    ASSERT_EQ(scripts->size(), std::size(kScripts));
    for (std::uint32_t i = 0; i < scripts->size(); ++i) {
        EXPECT_EQ(toUtf8(*scripts->at(i)), kScripts[i].name);
    }
    expectTrace(entry("getSupportedScripts") +
                Trace{{4, "PKCS11Client::getSupportedScripts<-- Output Param scripts " +
                              std::to_string(std::size(kScripts)) + " items"}} +
                leave("getSupportedScripts"));
    expectCalls({});
}

TEST_F(Dispatch, scriptsAreListedByAnExecutorThatIsNotReadyToo) {
    plugin = Executor(Params().plain("DLLNAME", Fake::emptyModuleFile()));
    const std::unique_ptr<Zel::Vector<Zel::TString>, Destroy> scripts(plugin.get()->getSupportedScripts());
    EXPECT_EQ(scripts->size(), std::size(kScripts));
}

// Result codes as a script's "ERROR" carries them

struct Mapped {
    CK_RV rv;
    const char* code;
    const char* shown; ///< as the failure line prints it
};

class MappedError : public Dispatch, public testing::WithParamInterface<Mapped> {};

TEST_P(MappedError, isAnsweredAndTold) {
    start(Params().hex("readerName", kReaderHex));
    fake.answerNext(Function::C_GetTokenInfo, GetParam().rv);
    expectOutputs(execute("getPlatformIdentifiers"), {errorIs(GetParam().code)});
    expectTraceAt(1, {{1, std::string("PKCS11Client::getPlatformIdentifiers : C_GetTokenInfo ") + GetParam().shown +
                              " : failed"}});
}

INSTANTIATE_TEST_SUITE_P(
    Results, MappedError,
    testing::Values(Mapped{0x01, "80f5", "0x01"}, Mapped{0x02, "80f6", "0x02"}, Mapped{0x03, "80e9", "0x03"},
                    Mapped{0x05, "80f7", "0x05"}, Mapped{0x07, "80f9", "0x07"}, Mapped{0x30, "80fa", "0x30"},
                    Mapped{0x32, "80eb", "0x32"}, Mapped{0x54, "80f4", "0x54"}, Mapped{0xA0, "80ee", "0xa0"},
                    Mapped{0xE0, "80eb", "0xe0"}, Mapped{0xE1, "80ea", "0xe1"}, Mapped{0x100, "80f5", "0x100"},
                    Mapped{0x101, "80f0", "0x101"}, Mapped{0x104, "80f1", "0x104"}, Mapped{0x190, "80f5", "0x190"},
                    Mapped{0x191, "80f5", "0x191"}, Mapped{0x200, "80f4", "0x200"},
                    Mapped{0x80000000, "80f5", "0x80000000"}, Mapped{0xFFFFFFFF, "80f5", "0xffffffff"}));

TEST_F(Dispatch, aResultAboveThirtyTwoBitsIsAFailureOfNoOwnCode) {
    if constexpr (sizeof(CK_RV) > 4) {
        start(Params().hex("readerName", kReaderHex));
        for (const std::uint64_t low : {std::uint64_t{0}, std::uint64_t{0xA0}}) {
            fake.answerNext(Function::C_GetTokenInfo, static_cast<CK_RV>(std::uint64_t{1} << 32 | low));
            expectOutputs(execute("getPlatformIdentifiers"), {errorIs("80f5")});
        }
    } else {
        GTEST_SKIP() << "results have 32 bits on this system";
    }
}

TEST_F(Dispatch, aFunctionThatTheListDoesNotHaveIsNotSupported) {
    start(Params().hex("readerName", kReaderHex));
    fake.setNullEntry(Function::C_GetTokenInfo);
    expectOutputs(execute("getPlatformIdentifiers"), {errorIs("80f4")});
    expectTraceAt(1 | 2, {{2, "PKCS11Client::getSlotVector: C_GetSlotList"},
                          {2, "PKCS11Client::getSlotVector: C_GetSlotList"},
                          {2, "PKCS11Client::getSlotVector: C_GetSlotInfo"},
                          {2, "PKCS11Client::getPlatformIdentifiers : C_GetTokenInfo"},
                          {1, "PKCS11Client::getPlatformIdentifiers : C_GetTokenInfo 0x54 : failed"}});
}

// Reader records: more than the five places that the list begins with

class ReaderRecords : public PluginTest {
protected:
    /// Readers "A", "B" … in place of the module's own; their slots.
    std::vector<CK_SLOT_ID> makeReaders(int count) {
        fake.removeAllSlots();
        std::vector<CK_SLOT_ID> slots;
        for (int i = 0; i < count; ++i) {
            slots.push_back(fake.addSlot(std::string(1, static_cast<char>('A' + i))));
        }
        return slots;
    }

    void expectReaders(int count, const std::string& readers) {
        makeReaders(count);
        EXPECT_EQ(execute("getReaderList").value("READERS"), readers);
    }
};

TEST_F(ReaderRecords, fiveSixAndManyAreListedInOrder) {
    start();
    expectReaders(5, "412F422F432F442F45");
    expectReaders(6, "412F422F432F442F452F46");
    expectReaders(26, "412F422F432F442F452F462F472F482F492F4A2F4B2F4C2F4D2F"
                      "4E2F4F2F502F512F522F532F542F552F562F572F582F592F5A");
    expectReaders(1, "41");
    expectReaders(0, "");
}

TEST_F(ReaderRecords, eachKeepsItsSlot) {
    start();
    const std::vector<CK_SLOT_ID> slots = makeReaders(12);
    run("getReaderList");
    for (std::size_t i = 0; i < slots.size(); ++i) {
        expectError(execute("getPlatformIdentifiers", Params().hex("READERNAME", textf("%X", 0x41U + unsigned(i)))),
                    "0");
        expectCalls({textf("C_GetTokenInfo(0x%x)", low(slots[i]))});
    }
}
