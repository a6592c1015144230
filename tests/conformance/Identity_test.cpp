// What an executor says of itself: version, type, name, description, and whether it can be used.

#include "plugin/Entry.h"
#include "tests/conformance/Harness.h"
#include "tests/conformance/LifecycleTrace.h"
#include "tests/unit/platform/Fixture.h"

#include <cstring>
#include <tuple>

using namespace Conformance;
using Fake::Function;
using plugin::onEntry;

namespace {

Trace outputTrace(const std::string& method, const std::string& line) {
    return entry(method) + Trace{{4, "PKCS11Client::" + method + line}} + leave(method);
}

} // namespace

class Identity : public PluginTest {
protected:
    std::string m_file = Fake::moduleFile();
    platform::DynamicLibrary m_versioned = platform::DynamicLibrary::load(versionedLibrary().c_str());

    void SetUp() override {
        PluginTest::SetUp();
        onEntry(moduleOf(m_versioned), 1); // as if the plug-in were that library
        forget();
    }
    void TearDown() override {
        PluginTest::TearDown();
        onEntry(nullptr, 1);
    }

    void makeUnready() {
        fake.answerNext(Function::C_Initialize, CKR_GENERAL_ERROR);
        plugin = Executor(creation());
        ASSERT_TRUE(plugin);
        forget();
    }

    std::string version() { return toUtf8(plugin.get()->getVersion()); }
    std::string type() { return toUtf8(plugin.get()->getType()); }
    std::string name() { return toUtf8(plugin.get()->getName()); }
    std::string description() { return toUtf8(plugin.get()->getDescription()); }

    [[nodiscard]] std::string withoutModule() const { return "Library Name=" + m_file + " (version ?)"; }

    /// C_GetInfo answers these 32 bytes (fewer: zero-filled) as manufacturer, and this version.
    void answerInfo(std::string manufacturer, CK_BYTE major = 2, CK_BYTE minor = 40) {
        manufacturer.resize(32);
        fake.hook<Function::C_GetInfo>([manufacturer, major, minor](CK_INFO* info) -> CK_RV {
            std::memset(info, 0xEE, sizeof(*info));
            info->cryptokiVersion = {major, minor};
            std::memcpy(info->manufacturerID, manufacturer.data(), sizeof(info->manufacturerID));
            return CKR_OK;
        });
    }
};

TEST_F(Identity, versionIsThatOfTheAttachedFile) {
    start();
    EXPECT_EQ(version(), FIXTURE_VERSION);
    expectTrace(outputTrace("getVersion", "<-- Output Param version = " FIXTURE_VERSION));
    expectCalls({});
}

TEST_F(Identity, versionOfAFileWithoutVersionIsAQuestionMark) {
    onEntry(nullptr, 1);
    start();
    EXPECT_EQ(version(), "?");
    expectTrace(outputTrace("getVersion", "<-- Output Param version = ?"));
}

TEST_F(Identity, typeIsTheScriptTypeThatExecuteRequires) {
    start();
    EXPECT_EQ(type(), "client.p11.Larkspur");
    expectTrace(outputTrace("getType", "<-- Output Param type = client.p11.Larkspur"));
    expectCalls({});
    expectError(plugin.execute("1", type(), "beginSynchronization", Params::null()), "0");
}

TEST_F(Identity, nameIsMadeOfTheVersionTextsAndTheLibrary) {
    start();
    const std::string expected = "versioned.lib (PKCS#11 fixture (test) / " + m_file + ")";
    EXPECT_EQ(name(), expected);
    expectTrace(outputTrace("getName", "<-- Output Param name = " + expected));
    expectCalls({});
}

TEST_F(Identity, nameWithoutVersionTextsKeepsItsPunctuation) {
    onEntry(nullptr, 1);
    start();
    EXPECT_EQ(name(), " ( / " + m_file + ")");
    expectTrace(outputTrace("getName", "<-- Output Param name =  ( / " + m_file + ")"));
}

TEST_F(Identity, descriptionTellsOfTheModule) {
    start();
    const std::string expected =
        withoutModule() + "\nManufacturer ID=Fake Tokens                     " + "\nCryptoki version=2.40";
    EXPECT_EQ(description(), expected);
    // The word "name" belongs to the text.
    expectTrace(entry("getDescription") + call("getDescription", "C_GetInfo") +
                Trace{{4, "PKCS11Client::getDescription: <-- Output Param name = " + expected}} +
                leave("getDescription"));
    expectCalls({"C_GetInfo()"});
}

TEST_F(Identity, descriptionWithoutModuleInformationEndsWithTheFile) {
    start();
    fake.answerNext(Function::C_GetInfo, CKR_FUNCTION_FAILED);
    EXPECT_EQ(description(), withoutModule());
    expectTrace(entry("getDescription") + call("getDescription", "C_GetInfo") +
                failed("getDescription", "C_GetInfo", CKR_FUNCTION_FAILED) +
                Trace{{4, "PKCS11Client::getDescription: <-- Output Param name = " + withoutModule()}} +
                leave("getDescription"));
    expectCalls({"C_GetInfo()"});
}

TEST_F(Identity, descriptionAfterAFailureThatWroteInformationDoesNotUseIt) {
    start();
    fake.answerNext(Function::C_GetInfo, CKR_GENERAL_ERROR, 1, Fake::When::After);
    EXPECT_EQ(description(), withoutModule());
}

TEST_F(Identity, aListWithoutGetInfoIsAFailure) {
    start();
    fake.setNullEntry(Function::C_GetInfo);
    EXPECT_EQ(description(), withoutModule());
    expectTraceAt(1 | 2, call("getDescription", "C_GetInfo") +
                             failed("getDescription", "C_GetInfo", CKR_FUNCTION_NOT_SUPPORTED));
}

TEST_F(Identity, descriptionAsksTheModuleEvenWhereTheExecutorIsNotReady) {
    makeUnready();
    EXPECT_EQ(description(), withoutModule());
    expectTrace(entry("getDescription") + call("getDescription", "C_GetInfo") +
                failed("getDescription", "C_GetInfo", CKR_CRYPTOKI_NOT_INITIALIZED) +
                Trace{{4, "PKCS11Client::getDescription: <-- Output Param name = " + withoutModule()}} +
                leave("getDescription"));
    expectCalls({"C_GetInfo()"});

    answerInfo("Someone");
    EXPECT_NE(description().find("\nManufacturer ID=Someone"), std::string::npos);
    fake.unhook(Function::C_GetInfo);
}

TEST_F(Identity, withoutFunctionListTheModuleIsNotAsked) {
    const std::string library = toUtf8(Zel::TString(versionedLibrary().c_str()));
    plugin = Executor(Params().plain("DLLNAME", library));
    ASSERT_TRUE(plugin);
    forget();
    const std::string expected = "Library Name=" + library + " (version " FIXTURE_VERSION ")";
    EXPECT_EQ(description(), expected);
    expectTrace(entry("getDescription") +
                Trace{{4, "PKCS11Client::getDescription: <-- Output Param name = " + expected}} +
                leave("getDescription"));
}

TEST_F(Identity, withANullFunctionListTheModuleIsNotAsked) {
    fake.setNullList();
    plugin = Executor(creation());
    ASSERT_TRUE(plugin);
    forget();
    EXPECT_EQ(description(), withoutModule());
    expectTraceAt(1 | 2, {});
    expectCalls({});
}

TEST_F(Identity, theManufacturerIsThirtyTwoBytesWithoutTerminator) {
    start();
    answerInfo("0123456789ABCDEF0123456789abcdef");
    EXPECT_EQ(description(),
              withoutModule() + "\nManufacturer ID=0123456789ABCDEF0123456789abcdef\nCryptoki version=2.40");
    fake.unhook(Function::C_GetInfo);
}

TEST_F(Identity, theManufacturerIsUtf8) {
    start();
    answerInfo("Kärtchen €uro \xF0\x9F\x94\x91          ");
    EXPECT_EQ(description(), withoutModule() + "\nManufacturer ID=Kärtchen €uro \xF0\x9F\x94\x91          " +
                                 "\nCryptoki version=2.40");
    fake.unhook(Function::C_GetInfo);
}

TEST_F(Identity, aManufacturerThatIsNoUtf8IsReplacedAndNeverReadPastItsEnd) {
    start();
    // The last byte begins a character that has no more room.
    answerInfo("\xFFx" + std::string(29, ' ') + "\xE2");
    EXPECT_EQ(description(), withoutModule() + "\nManufacturer ID=\uFFFDx" + std::string(29, ' ') + "\uFFFD" +
                                 "\nCryptoki version=2.40");
    fake.unhook(Function::C_GetInfo);
}

TEST_F(Identity, aManufacturerWithZerosLeavesTheVersionLineThere) {
    start();
    for (const std::string& manufacturer : {std::string(), std::string("Zeros\0 and more", 15)}) {
        answerInfo(manufacturer);
        EXPECT_EQ(description(),
                  withoutModule() + "\nManufacturer ID=" + manufacturer.substr(0, 5) + "\nCryptoki version=2.40");
    }
    fake.unhook(Function::C_GetInfo);
}

TEST_F(Identity, theCryptokiVersionIsTwoDecimalNumbers) {
    start();
    for (const auto& [major, minor, text] : {std::tuple<CK_BYTE, CK_BYTE, const char*>{0, 0, "0.0"},
                                             {2, 1, "2.1"},
                                             {3, 0, "3.0"},
                                             {255, 255, "255.255"}}) {
        answerInfo(std::string(32, ' '), major, minor);
        EXPECT_EQ(description(),
                  withoutModule() + "\nManufacturer ID=" + std::string(32, ' ') + "\nCryptoki version=" + text);
    }
    fake.unhook(Function::C_GetInfo);
}

TEST_F(Identity, validateTellsThatTheExecutorIsReady) {
    plugin = Executor(creation());
    forget();
    EXPECT_TRUE(plugin.get()->validate());
    expectTrace(outputTrace("validate", "<-- Output Param validate = TRUE (1)"));
    expectCalls({});
    // Whether it is initialised or terminated plays no part.
    EXPECT_EQ(plugin.initialize(), std::nullopt);
    EXPECT_TRUE(plugin.get()->validate());
    plugin.terminate();
    EXPECT_TRUE(plugin.get()->validate());
}

TEST_F(Identity, validateTellsThatTheExecutorIsNotReady) {
    makeUnready();
    EXPECT_FALSE(plugin.get()->validate());
    expectTrace(outputTrace("validate", "<-- Output Param validate = FALSE (0)"));
    expectCalls({});
}

TEST_F(Identity, theExecutorIsAlwaysLocal) {
    start();
    EXPECT_TRUE(plugin.get()->isLocal());
    expectTrace(outputTrace("isLocal", "<-- Output Param isLocal = TRUE (1)"));
    plugin.free();
    makeUnready();
    EXPECT_TRUE(plugin.get()->isLocal());
    expectTrace(outputTrace("isLocal", "<-- Output Param isLocal = TRUE (1)"));
    expectCalls({});
}

TEST_F(Identity, anExecutorThatIsNotReadyStillTellsVersionTypeAndName) {
    makeUnready();
    EXPECT_EQ(version(), FIXTURE_VERSION);
    EXPECT_EQ(type(), "client.p11.Larkspur");
    EXPECT_EQ(name(), "versioned.lib (PKCS#11 fixture (test) / " + m_file + ")");
}

TEST_F(Identity, aLibraryNameWithPercentSignsIsNoFormat) {
    const TemporaryFolder folder;
    const std::filesystem::path copy = folder.path() / "%ws%n%d.dll";
    std::filesystem::copy_file(plainLibrary(), copy);
    plugin = Executor(Params().plain("DLLNAME", copy.string()));
    ASSERT_TRUE(plugin);
    EXPECT_EQ(name(), "versioned.lib (PKCS#11 fixture (test) / " + copy.string() + ")");
    EXPECT_EQ(description(), "Library Name=" + copy.string() + " (version ?)");
    plugin.free();
}
