#include <gtest/gtest.h>

#include <cstring>

#include "tests/binary/microsoft/Host.h"

// A host built with Microsoft's compiler and the plug-in built for it.

namespace {

using Zel::Parameter;
using Zel::Text;
using Zel::Vector;

std::wstring text(const Text& value) {
    return value.characters();
}

class MicrosoftHost : public testing::Test {
protected:
    static void SetUpTestSuite() { s_plugin = new LoadedPlugin; }
    static void TearDownTestSuite() {
        delete s_plugin;
        s_plugin = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(s_plugin->isLoaded());
        executor = s_plugin->makeExecutor();
        ASSERT_NE(executor, nullptr);
    }
    void TearDown() override {
        if (executor != nullptr) {
            s_plugin->freeInstance(executor);
        }
        EXPECT_EQ(Parameter::alive, 0);
        EXPECT_EQ(Vector<Parameter>::alive, 0);
    }

    /// The code and the message that a second initialize throws, caught as `Exception`.
    template <class Exception>
    std::wstring refusal() {
        try {
            executor->initialize(nullptr, nullptr);
        } catch (const Exception& exception) {
            return text(exception.code()) + L" " + text(exception.message());
        }
        return L"nothing was thrown";
    }

    static inline LoadedPlugin* s_plugin = nullptr;
    Zel::Executor* executor = nullptr;
};

} // namespace

TEST_F(MicrosoftHost, GetsTextsByValue) {
    EXPECT_EQ(text(executor->getVersion()), PLUGIN_VERSION);
    EXPECT_EQ(text(executor->getType()), L"client.p11.Larkspur");
    EXPECT_EQ(text(executor->getName()), L"zel-coe-pkcs11U.dll (PKCS#11 Plugin / p11fake.dll)");
    EXPECT_EQ(text(executor->getDescription()).substr(0, 24), L"Library Name=p11fake.dll");
}

TEST_F(MicrosoftHost, GetsTruthAndNumbers) {
    EXPECT_TRUE(executor->validate());
    EXPECT_TRUE(executor->isLocal());
}

TEST_F(MicrosoftHost, ReadsAVectorOfThePlugins) {
    Vector<Text>* const scripts = executor->getSupportedScripts();
    ASSERT_NE(scripts, nullptr);
    ASSERT_EQ(scripts->size(), 18U);
    EXPECT_FALSE(scripts->isEmpty());
    EXPECT_EQ(text(*scripts->at(0)), L"getReaderList");
    EXPECT_EQ(text(*scripts->at(scripts->size() - 1)), L"endSynchronization");
    scripts->destroy();
}

TEST_F(MicrosoftHost, IsAskedForTheOperationAndReadsTheAnswer) {
    executor->initialize(nullptr, nullptr);
    HostOperation operation(L"getReaderList", nullptr);
    Zel::Response* const response = executor->execute(&operation);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(operation.called, HostOperation::kAll);
    EXPECT_EQ(text(response->id()), L"operation of the host's, with a long name");
    ASSERT_EQ(response->parameters()->size(), 2U);
    EXPECT_EQ(text(response->parameters()->at(0)->id), L"ERROR");
    EXPECT_EQ(text(response->parameters()->at(0)->value), L"0");
    EXPECT_EQ(text(response->parameters()->at(1)->id), L"READERS");
    EXPECT_EQ(text(response->parameters()->at(1)->value), L"46616B65205265616465722030"); // "Fake Reader 0"
    response->destroy();
}

TEST_F(MicrosoftHost, HandsOverParametersThatThePluginEnds) {
    executor->initialize(nullptr, nullptr);
    {
        Vector<Parameter> parameters;
        parameters.add(Parameter(L"READERNAME", L"46616B65205265616465722030"));
        HostOperation operation(L"getPlatformIdentifiers", &parameters);
        Zel::Response* const response = executor->execute(&operation);
        ASSERT_NE(response, nullptr);
        EXPECT_EQ(text(response->parameters()->at(0)->value), L"0");
        delete response;
        // The copy that the plug-in was given is gone.
        EXPECT_EQ(Vector<Parameter>::alive, 1);
        EXPECT_EQ(Parameter::alive, 1);
    }
}

TEST_F(MicrosoftHost, GetsNoAnswerForNoOperation) {
    executor->initialize(nullptr, nullptr);
    EXPECT_EQ(executor->execute(nullptr), nullptr);
}

TEST_F(MicrosoftHost, CatchesThePluginsExceptionByEachOfItsTypes) {
    executor->initialize(nullptr, nullptr);
    EXPECT_EQ(refusal<Zel::ClientOperationException>(), L"80ec Plugin not terminated");
    EXPECT_EQ(refusal<Zel::LocalizedException>(), L"80ec Plugin not terminated");
    EXPECT_THROW(executor->initialize(nullptr, nullptr), std::exception);
    executor->terminate();
    EXPECT_NO_THROW(executor->initialize(nullptr, nullptr));
}

TEST_F(MicrosoftHost, CatchesAStandardExceptionOfThePlugins) {
    Vector<Text>* const scripts = executor->getSupportedScripts();
    std::string message;
    try {
        static_cast<void>(scripts->at(scripts->size()));
    } catch (const std::out_of_range& exception) {
        message = exception.what();
    }
    EXPECT_EQ(message, "Position exceeds range of vector elements");
    scripts->destroy();
}

TEST_F(MicrosoftHost, ThrowsThroughThePlugin) {
    // A vector of the host's that fails leaves newInstance as null, and no exception.
    class Failing final : public Vector<Parameter> {
    public:
        [[nodiscard]] std::uint32_t size() const noexcept override { return 1; }
    };
    Failing parameters;
    EXPECT_EQ(s_plugin->newInstance(&parameters), nullptr);
}

TEST_F(MicrosoftHost, EndsAnExecutorWithDelete) {
    delete executor; // slot 1, flags 1
    executor = nullptr;
}

TEST_F(MicrosoftHost, EndsAnExecutorAndKeepsItsStorage) {
    executor->~Executor(); // slot 1, flags 0
    // Releasing would have overwritten it.
    std::uintptr_t table = 0;
    std::memcpy(&table, static_cast<const void*>(executor), sizeof table);
    EXPECT_NE(table, 0U);
    Zel::heap().release(executor);
    executor = nullptr;
}

TEST_F(MicrosoftHost, EndsAnExecutorWithDestroy) {
    executor->destroy();
    executor = nullptr;
}
