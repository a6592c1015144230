#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/binary/microsoft/Host.h"

// What becomes of the same host with the DLL that GCC made: the reason why there are two. Operations on pointers and
// numbers work; what the two compilers do in ways of their own gives no right answer, whatever it gives. Each attempt
// has a process of its own, for it may end it, and because the libraries of both families have the same names.

namespace {

constexpr int kRight = 42;
constexpr int kNoExecutor = 43;
constexpr int kWrong = 44;

using Attempt = bool (*)(Zel::Executor& executor);

int endAtOnce() {
    std::_Exit(kWrong);
}

/// Ends the process with kRight when the attempt says so. What leaves the attempt ends it where it is: frames of the
/// other family would have to be unwound.
[[noreturn]] void end(Attempt attempt, Zel::Executor& executor) {
    __try {
        std::_Exit(attempt(executor) ? kRight : kWrong);
    } __except (endAtOnce()) {
    }
    std::_Exit(kWrong);
}

/// An attempt may also go round for ever.
void endLater() {
    std::thread([] {
        std::this_thread::sleep_for(std::chrono::minutes(2));
        std::_Exit(kWrong);
    }).detach();
}

[[noreturn]] void with(Attempt attempt) {
    endLater();
    const LoadedPlugin plugin(GCC_FOLDER);
    Zel::Executor* const executor = plugin.isLoaded() ? plugin.makeExecutor() : nullptr;
    if (executor == nullptr) {
        std::_Exit(kNoExecutor);
    }
    end(attempt, *executor);
}

bool isNoRightAnswer(int status) {
    return status != kRight && status != kNoExecutor;
}

class OtherFamilyDeathTest : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(std::filesystem::path(GCC_FOLDER) / L"zel-coe-pkcs11U.dll")) {
            GTEST_SKIP() << "the preset \"windows\" has not been built";
        }
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }
};

bool callsWithPointersAndNumbers(Zel::Executor& executor) {
    executor.initialize(nullptr, nullptr);
    Zel::Vector<Zel::Text>* const scripts = executor.getSupportedScripts();
    const bool isListed = scripts->size() == 18;
    scripts->destroy();
    executor.terminate();
    return isListed && executor.validate() && executor.isLocal();
}

bool getsTheVersion(Zel::Executor& executor) {
    return std::wstring(executor.getVersion().characters()) == PLUGIN_VERSION && executor.validate();
}

bool getsAnAnswer(Zel::Executor& executor) {
    executor.initialize(nullptr, nullptr);
    HostOperation operation(L"getReaderList", nullptr);
    Zel::Response* const response = executor.execute(&operation);
    return response != nullptr && response->parameters()->size() == 2;
}

bool catchesTheException(Zel::Executor& executor) {
    executor.initialize(nullptr, nullptr);
    try {
        executor.initialize(nullptr, nullptr);
    } catch (const std::exception&) {
        return true;
    }
    return false;
}

} // namespace

TEST_F(OtherFamilyDeathTest, PointersAndNumbersCross) {
    EXPECT_EXIT(with(&callsWithPointersAndNumbers), testing::ExitedWithCode(kRight), "");
}

TEST_F(OtherFamilyDeathTest, TextsByValueDoNot) {
    EXPECT_EXIT(with(&getsTheVersion), isNoRightAnswer, "");
}

TEST_F(OtherFamilyDeathTest, OperationsDoNot) {
    EXPECT_EXIT(with(&getsAnAnswer), isNoRightAnswer, "");
}

TEST_F(OtherFamilyDeathTest, ExceptionsDoNot) {
    EXPECT_EXIT(with(&catchesTheException), isNoRightAnswer, "");
}
