// Runs the tests in a process whose libraries are bound at load. The system's libraries are linked without that: when
// one of them calls a function for the first time, the loader saves the vector registers on the stack, and with them
// what another function had left there. That is neither the plug-in's doing nor the same on every processor.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace {

bool isBoundAtLoad() {
    const char* const value = std::getenv("LD_BIND_NOW");
    return value != nullptr && !std::string_view(value).empty();
}

} // namespace

int main(int argc, char** argv) {
    if (!isBoundAtLoad()) {
        ::setenv("LD_BIND_NOW", "1", 1);
        ::execv("/proc/self/exe", argv);
        std::perror("secrets-tests cannot start itself anew");
        return EXIT_FAILURE;
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
