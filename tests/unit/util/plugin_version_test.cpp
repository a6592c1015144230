#include "util/VersionInfo.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/unit/platform/Fixture.h"
#include "tests/unit/util/WideText.h"

using namespace plugin;

namespace {

std::wstring pluginLibrary() {
    return std::filesystem::path(PLUGIN_LIBRARY).wstring();
}

TEST(PluginVersion, IsReadFromTheFileOnDisk) {
    EXPECT_EQ(str(fileVersionText(Zel::TString(pluginLibrary().c_str()))), PLUGIN_VERSION_TEXT);
}

TEST(PluginVersion, IsReadFromTheLoadedPlugin) {
    const auto plugin = platform::DynamicLibrary::load(pluginLibrary().c_str());
    ASSERT_TRUE(plugin.isLoaded()) << platform::DynamicLibrary::lastError();
    void* const module = kIsWindows ? plugin.handle() : plugin.symbol("newInstance");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(str(fileVersionText(module)), PLUGIN_VERSION_TEXT);
    EXPECT_EQ(str(versionString(module, L"FileDescription")), L"PKCS#11 Plugin");
    EXPECT_EQ(str(versionString(module, L"InternalName")), L"zel-coe-pkcs11U.dll");
    EXPECT_EQ(std::filesystem::path(str(versionString(module, L"OriginalFilename"))),
              std::filesystem::path(pluginLibrary()).filename());
}

} // namespace
