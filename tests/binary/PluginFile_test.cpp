#include <gtest/gtest.h>

#include <iterator>

#include "tests/binary/RawHost.h"
#include "tests/fake/Fake.h"

// The built library itself, driven through its two names and the raw tables.

namespace {

std::wstring text(const Zel::TString& value) {
    return value.c_str();
}

/// A loaded plug-in with one executor on the scripted module.
class PluginFile : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(plugin.isLoaded()) << platform::DynamicLibrary::lastError();
        Fake::module().reset();
        executor = plugin.newInstance(module);
        ASSERT_NE(executor, nullptr);
    }
    void TearDown() override {
        if (executor != nullptr) {
            plugin.freeInstance(executor);
        }
    }

    const std::wstring module = wideModuleFile();
    RawPlugin plugin;
    void* executor = nullptr;
};

enum Slot : unsigned {
    Destroy,
    DeletingDestructor,
    Initialize,
    Execute,
    Terminate,
    GetVersion,
    GetType,
    GetName,
    GetDescription,
    GetSupportedScripts,
    Validate,
    IsLocal,
};

void initialize(void* executor, Zel::Vector<Zel::Parameter>* access = nullptr) {
    callSlot<void, void*, void*>(executor, Initialize, access, nullptr);
}

} // namespace

TEST_F(PluginFile, HasTheTwoNamesAndNoOther) {
    EXPECT_NE(plugin.symbol("newInstance"), nullptr);
    EXPECT_NE(plugin.symbol("freeInstance"), nullptr);
    EXPECT_EQ(plugin.symbol("NewInstance"), nullptr);
    EXPECT_EQ(plugin.symbol("C_GetFunctionList"), nullptr);
}

TEST_F(PluginFile, GivesNoExecutorWithoutAModule) {
    EXPECT_EQ(plugin.newInstance(L""), nullptr);
    EXPECT_EQ(plugin.newInstance(L"there-is-no-such-module.dll"), nullptr);
}

TEST_F(PluginFile, FreesNothing) {
    plugin.freeInstance(nullptr);
    EXPECT_TRUE(callSlot<bool>(executor, Validate));
}

TEST_F(PluginFile, AnswersTheIdentityQueriesInTheirSlots) {
    EXPECT_EQ(text(callSlot<Zel::TString>(executor, GetVersion)), PLUGIN_VERSION);
    EXPECT_EQ(text(callSlot<Zel::TString>(executor, GetType)), L"client.p11.Larkspur");
    EXPECT_EQ(text(callSlot<Zel::TString>(executor, GetName)),
              L"zel-coe-pkcs11U.dll (PKCS#11 Plugin / " + module + L")");
    EXPECT_EQ(text(callSlot<Zel::TString>(executor, GetDescription)),
              L"Library Name=" + module +
                  L" (version ?)\nManufacturer ID=Fake Tokens                     \nCryptoki version=2.40");
    EXPECT_TRUE(callSlot<bool>(executor, Validate));
    EXPECT_TRUE(callSlot<bool>(executor, IsLocal));
}

TEST_F(PluginFile, ListsTheScriptsInAVectorThatTheHostDestroys) {
    const wchar_t* const names[] = {L"getReaderList",
                                    L"getPlatformIdentifiers",
                                    L"getCardState",
                                    L"getAuthenticatorState",
                                    L"init",
                                    L"recycle",
                                    L"initAuthenticator",
                                    L"changeAuthenticator",
                                    L"unlockAuthenticator",
                                    L"authenticate",
                                    L"deauthenticate",
                                    L"writeData",
                                    L"readData",
                                    L"removeData",
                                    L"generateKeyPair",
                                    L"signData",
                                    L"beginSynchronization",
                                    L"endSynchronization"};
    void* const scripts = callSlot<void*>(executor, GetSupportedScripts);
    ASSERT_NE(scripts, nullptr);
    constexpr unsigned kSize = 7;
    constexpr unsigned kAt = 9;
    ASSERT_EQ(callSlot<std::uint32_t>(scripts, kSize), std::size(names));
    for (std::uint32_t i = 0; i < std::size(names); ++i) {
        EXPECT_EQ(text(*callSlot<Zel::TString*>(scripts, kAt, i)), names[i]) << i;
    }
    callSlot<void>(scripts, Destroy);
}

TEST_F(PluginFile, CarriesOutAnOperation) {
    initialize(executor);
    RawOperation operation(L"getReaderList");
    auto* const response = static_cast<Zel::ClientOperationResponse*>(
        callSlot<void*, void*>(executor, Execute, static_cast<Zel::ClientOperation*>(&operation)));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(text(response->getId()), L"42");
    const Zel::Vector<Zel::Parameter>& outputs = response->getResponseParameters();
    ASSERT_EQ(outputs.size(), 2U);
    EXPECT_EQ(text(outputs.at(0)->getId()), L"ERROR");
    EXPECT_EQ(text(outputs.at(0)->getValue()), L"0");
    EXPECT_EQ(text(outputs.at(1)->getId()), L"READERS");
    EXPECT_EQ(text(outputs.at(1)->getValue()), L"46616B65205265616465722030"); // "Fake Reader 0"
    callSlot<void>(response, Destroy);
}

TEST_F(PluginFile, AnswersNullForNoOperation) {
    initialize(executor);
    EXPECT_EQ((callSlot<void*, void*>(executor, Execute, nullptr)), nullptr);
}

TEST_F(PluginFile, CanBeInitializedAgainAfterTerminate) {
    initialize(executor);
    callSlot<void>(executor, Terminate);
    EXPECT_NO_THROW(initialize(executor));
}

TEST_F(PluginFile, EndsThroughItsOwnTable) {
    EXPECT_TRUE(Fake::module().isInitialized());
    callSlot<void>(executor, Destroy);
    executor = nullptr;
    EXPECT_FALSE(Fake::module().isInitialized());
}

TEST_F(PluginFile, LeavesItsStorageToTheHostWhenAskedTo) {
    void* const address = callSlot<void*>(executor, DeletingDestructor, 0U);
    EXPECT_EQ(address, executor);
    EXPECT_FALSE(Fake::module().isInitialized());
    Zel::release(executor);
    executor = nullptr;
}

TEST_F(PluginFile, CanBeUnloadedAndLoadedAgain) {
    plugin.freeInstance(executor);
    executor = nullptr;
    plugin.unload();
    ASSERT_FALSE(plugin.isLoaded());
    plugin = RawPlugin();
    ASSERT_TRUE(plugin.isLoaded());
    executor = plugin.newInstance(module);
    ASSERT_NE(executor, nullptr);
    EXPECT_TRUE(callSlot<bool>(executor, Validate));
}
