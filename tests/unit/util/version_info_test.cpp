#include "util/VersionInfo.h"

#include <gtest/gtest.h>

#include "tests/unit/platform/Fixture.h"
#include "tests/unit/util/WideText.h"

using namespace plugin;

namespace {

std::wstring versionOfFile(const std::filesystem::path& file) {
    return str(fileVersionText(Zel::TString(file.wstring().c_str())));
}

std::wstring versionOfModule(void* module) {
    return str(fileVersionText(module));
}

TEST(FileVersionText, OfALibraryOnDiskIsFourNumbersWithDots) {
    EXPECT_EQ(versionOfFile(versionedLibrary()), FIXTURE_VERSION_TEXT);
}

TEST(FileVersionText, OfALoadedLibraryIsThatOfItsFile) {
    const auto library = platform::DynamicLibrary::load(versionedLibrary().c_str());
    ASSERT_TRUE(library.isLoaded());
    EXPECT_EQ(versionOfModule(moduleOf(library)), FIXTURE_VERSION_TEXT);
    EXPECT_EQ(versionOfFile(std::filesystem::path(versionedLibrary()).filename()), FIXTURE_VERSION_TEXT);
}

TEST(FileVersionText, IsAQuestionMarkWithoutVersionInformation) {
    const TemporaryFolder folder;
    EXPECT_EQ(versionOfFile(plainLibrary()), L"?");
    EXPECT_EQ(versionOfFile(folder.write("text.dll", "text")), L"?");
    EXPECT_EQ(versionOfFile(folder.write("cut.dll", contentsOf(versionedLibrary()).substr(0, 1000))), L"?");
    EXPECT_EQ(versionOfFile(folder.path()), L"?");
    EXPECT_EQ(versionOfFile(folder.path() / "missing.dll"), L"?");
    EXPECT_EQ(versionOfFile(""), L"?");
    EXPECT_EQ(versionOfModule(nullptr), L"?");
    const auto library = platform::DynamicLibrary::load(plainLibrary().c_str());
    ASSERT_TRUE(library.isLoaded());
    EXPECT_EQ(versionOfModule(moduleOf(library)), L"?");
}

TEST(VersionString, IsTheTextOfTheKeyOrEmpty) {
    const auto library = platform::DynamicLibrary::load(versionedLibrary().c_str());
    ASSERT_TRUE(library.isLoaded());
    EXPECT_EQ(str(versionString(moduleOf(library), L"FileDescription")), L"PKCS#11 fixture (test)");
    EXPECT_EQ(str(versionString(moduleOf(library), L"InternalName")), L"versioned.lib");
    EXPECT_EQ(str(versionString(moduleOf(library), L"NoSuchText")), L"");
    EXPECT_EQ(str(versionString(nullptr, L"FileDescription")), L"");
    const auto plain = platform::DynamicLibrary::load(plainLibrary().c_str());
    ASSERT_TRUE(plain.isLoaded());
    EXPECT_EQ(str(versionString(moduleOf(plain), L"FileDescription")), L"");
}

} // namespace
