#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "tests/binary/RawHost.h"
#include "tests/fake/Fake.h"
#include "zel/ClientOperationException.h"

// Exceptions that leave the plug-in or a library of the framework reach the host as what they are. On Windows each of
// these files has a C++ runtime of its own, linked statically, so that this does not go without saying.

namespace {

constexpr unsigned kDestroy = 0;
constexpr unsigned kInitialize = 2;
constexpr unsigned kGetSupportedScripts = 9;

/// What a vector's "at" throws, through its table; empty when that is nothing.
std::string textOfThrownOutOfRange(void* vector, std::uint32_t index) {
    constexpr unsigned kAt = 9;
    try {
        callSlot<void*, std::uint32_t>(vector, kAt, index);
    } catch (const std::out_of_range& exception) {
        return exception.what();
    }
    return {};
}

class Exceptions : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(plugin.isLoaded()) << platform::DynamicLibrary::lastError();
        Fake::module().reset();
        executor = plugin.newInstance(wideModuleFile());
        ASSERT_NE(executor, nullptr);
    }
    void TearDown() override { plugin.freeInstance(executor); }

    void initialize(Zel::Vector<Zel::Parameter>* access = nullptr) const {
        callSlot<void, void*, void*>(executor, kInitialize, access, nullptr);
    }

    RawPlugin plugin;
    void* executor = nullptr;
};

} // namespace

TEST_F(Exceptions, ClientOperationExceptionArrivesAsItself) {
    initialize();
    try {
        initialize();
        FAIL() << "nothing was thrown";
    } catch (const Zel::ClientOperationException& exception) {
        EXPECT_EQ(exception.getMessageText().compare(L"Plugin not terminated"), 0);
        EXPECT_EQ(exception.getErrorCode().compare(L"80ec"), 0);
    }
}

TEST_F(Exceptions, ClientOperationExceptionArrivesAsItsBases) {
    initialize();
    EXPECT_THROW(initialize(), Zel::LocalizedException);
    EXPECT_THROW(initialize(), std::exception);
}

TEST_F(Exceptions, ItsTextsBelongToTheHostAfterwards) {
    Zel::Vector<Zel::Parameter> access;
    access.add({Zel::ParameterEncoding::Plain, L"PINID", Zel::ParameterType::Text, L"so"});
    Zel::TString message;
    try {
        initialize(&access);
        FAIL() << "nothing was thrown";
    } catch (const Zel::LocalizedException& exception) {
        message = exception.getMessageText();
    }
    EXPECT_EQ(message.compare(L"Bad parameter PINID: so"), 0);
}

TEST_F(Exceptions, StandardExceptionOfThePluginArrivesAsItself) {
    // A vector that the plug-in made runs the plug-in's code, wherever it is called from.
    void* const scripts = callSlot<void*>(executor, kGetSupportedScripts);
    ASSERT_NE(scripts, nullptr);
    EXPECT_EQ(textOfThrownOutOfRange(scripts, 1000), "Position exceeds range of vector elements");
    callSlot<void>(scripts, kDestroy);
}

TEST_F(Exceptions, StandardExceptionOfTheFrameworkArrivesAsItself) {
    // A response's own vector runs the code of the library that the response comes from.
    Zel::ClientOperationResponse response;
    void* const outputs = const_cast<Zel::Vector<Zel::Parameter>*>(&response.getResponseParameters());
    EXPECT_EQ(textOfThrownOutOfRange(outputs, 0), "Position exceeds range of vector elements");
}

TEST_F(Exceptions, ArriveOnEveryThreadAndAsOftenAsTheyAreThrown) {
    initialize();
    int caught = 0;
    std::thread thread([&] {
        for (int i = 0; i < 2000; ++i) {
            try {
                initialize();
            } catch (const Zel::ClientOperationException&) {
                ++caught;
            }
        }
    });
    thread.join();
    EXPECT_EQ(caught, 2000);
}
