#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/binary/RawHost.h"
#include "tests/fake/Fake.h"

// A host that keeps its executor in a static object gives it back while the process ends: after the statics of the
// plug-in, which was loaded later.

namespace {

RawPlugin* g_plugin = nullptr;
void* g_executor = nullptr;

void freeAtTheEnd() {
    g_plugin->freeInstance(g_executor);
    // A status of its own: the end was reached, and the module was finalised on the way.
    std::_Exit(Fake::module().callCount(Fake::Function::C_Finalize) == 1 ? 42 : 1);
}

void endWithAnExecutor() {
    Fake::module().reset(); // so that the module's statics end behind the host's, and the plug-in's alone before
    if (std::atexit(&freeAtTheEnd) != 0) {
        std::_Exit(2);
    }
    g_plugin = new RawPlugin;
    g_executor = g_plugin->newInstance(wideModuleFile());
    std::exit(3);
}

} // namespace

// In a process of its own, from its start: there the plug-in has not been loaded yet.
TEST(ProcessEndDeathTest, AnExecutorMayBeFreedBehindThePluginsStatics) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(endWithAnExecutor(), testing::ExitedWithCode(42), "");
}
