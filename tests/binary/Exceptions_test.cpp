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

constexpr unsigned kInitialize = 2;
constexpr unsigned kGetSupportedScripts = 9;

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

TEST_F(Exceptions, StandardExceptionArrivesAsItself) {
    // A vector that the plug-in made runs the plug-in's code, wherever it is called from.
    void* const scripts = callSlot<void*>(executor, kGetSupportedScripts);
    ASSERT_NE(scripts, nullptr);
    constexpr unsigned kAt = 9;
    std::string what;
    try {
        callSlot<void*, std::uint32_t>(scripts, kAt, 18);
    } catch (const std::out_of_range& exception) {
        what = exception.what();
    }
    EXPECT_EQ(what, "Position exceeds range of vector elements");
    EXPECT_THROW((callSlot<void*, std::uint32_t>(scripts, kAt, 18)), std::logic_error);
    callSlot<void>(scripts, 0);
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
