// What the process is asked for, and small services of the system.

#include "platform/Heap.h"
#include "platform/Process.h"
#include "platform/Sleep.h"
#include "platform/TypeName.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

namespace platform {

/// Stands in a namespace, so that its name has two parts.
struct Named {};

} // namespace platform

namespace {

std::optional<std::string> variableOf(const char* name) {
    const auto value = platform::environmentVariable(name);
    return value ? std::optional(std::string(value->data(), value->size())) : std::nullopt;
}

TEST(EnvironmentVariable, isTheTextThatWasSetUntilItIsRemoved) {
    static char s_assignment[] = "ZEL_TEST_VARIABLE=a value = with signs";
    static char s_longer[] = "ZEL_TEST_VARIABLES=others";
    ::putenv(s_assignment);
    ::putenv(s_longer);
    EXPECT_EQ(variableOf("ZEL_TEST_VARIABLE"), "a value = with signs");
    EXPECT_EQ(variableOf("ZEL_TEST_VARIABL"), std::nullopt);

    platform::removeEnvironmentVariable("ZEL_TEST_VARIABLE");
    EXPECT_EQ(variableOf("ZEL_TEST_VARIABLE"), std::nullopt);
    EXPECT_EQ(std::string(std::begin(s_assignment), std::end(s_assignment)),
              "ZEL_TEST_VARIABLE=" + std::string(sizeof s_assignment - std::strlen("ZEL_TEST_VARIABLE="), '\0'))
        << "it may have been a secret";
    EXPECT_EQ(variableOf("ZEL_TEST_VARIABLES"), "others");
    platform::removeEnvironmentVariable("ZEL_TEST_VARIABLE");
    platform::removeEnvironmentVariable("ZEL_TEST_VARIABLES");
}

TEST(ExecutablePath, endsInTheProgramsName) {
    EXPECT_NE(platform::executablePath().find("unit-platform"), std::string::npos) << platform::executablePath();
}

TEST(BlockSize, isAtLeastWhatWasAskedForAndAllOfItMayBeWritten) {
    for (const std::size_t size : {1U, 7U, 24U, 1000U, 100000U}) {
        void* const block = std::malloc(size);
        ASSERT_NE(block, nullptr);
        const std::size_t room = platform::blockSize(block);
        EXPECT_GE(room, size);
        std::memset(block, 0xEE, room);
        std::free(block);
    }
}

TEST(TypeName, isTheNameOfTheSource) {
    EXPECT_EQ(platform::typeName(typeid(std::bad_alloc)), "std::bad_alloc");
    EXPECT_EQ(platform::typeName(typeid(platform::Named)), "platform::Named");
}

TEST(SleepFor, lastsAtLeastThatLong) {
    const auto begin = std::chrono::steady_clock::now();
    platform::sleepFor(std::chrono::milliseconds(3));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(3));
}

} // namespace
