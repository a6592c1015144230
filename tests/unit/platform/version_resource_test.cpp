#include "platform/VersionResource.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include "Fixture.h"

namespace {

using platform::VersionResource;

TEST(VersionResource, GivesWhatTheBuildWroteIntoTheLibrary) {
    const std::optional<VersionResource> resource = VersionResource::open(versionedLibrary());
    ASSERT_TRUE(resource);
    EXPECT_EQ(resource->translation(), 0x040904B0U);
    EXPECT_EQ(resource->fileVersion(), (std::array<std::uint32_t, 4>{FIXTURE_VERSION}));
    EXPECT_EQ(resource->string(L"FileDescription"), L"PKCS#11 fixture (test)");
    EXPECT_EQ(resource->string(L"InternalName"), L"versioned.lib");
    EXPECT_EQ(std::filesystem::path(resource->string(L"OriginalFilename")),
              std::filesystem::path(versionedLibrary()).filename());
    EXPECT_EQ(resource->string(L"NoSuchText"), L"");
    EXPECT_EQ(resource->string(L""), L"");
}

TEST(VersionResource, MayBeMoved) {
    std::optional<VersionResource> first = VersionResource::open(versionedLibrary());
    ASSERT_TRUE(first);
    VersionResource second(std::move(*first));
    EXPECT_EQ(second.translation(), 0x040904B0U);
}

TEST(VersionResource, IsFoundByTheBareNameOfALoadedLibrary) {
    const auto library = platform::DynamicLibrary::load(versionedLibrary().c_str());
    ASSERT_TRUE(library.isLoaded());
    const std::wstring name = std::filesystem::path(versionedLibrary()).filename().wstring();
    EXPECT_TRUE(VersionResource::open(name));
}

TEST(VersionResource, IsNothingForAFileThatCarriesNone) {
    const TemporaryFolder folder;
    EXPECT_FALSE(VersionResource::open(plainLibrary()));
    EXPECT_FALSE(VersionResource::open(folder.write("text.dll", "just a text\n").wstring()));
    EXPECT_FALSE(VersionResource::open(folder.write("empty.dll", "").wstring()));
    EXPECT_FALSE(VersionResource::open(folder.path().wstring()));
    EXPECT_FALSE(VersionResource::open((folder.path() / "missing.dll").wstring()));
    EXPECT_FALSE(VersionResource::open(L"no-such-library.xyz"));
    EXPECT_FALSE(VersionResource::open(L""));
}

TEST(VersionResource, IsNothingForAFileThatWasCut) {
    const TemporaryFolder folder;
    const std::string whole = contentsOf(versionedLibrary());
    ASSERT_GT(whole.size(), 1000U);
    EXPECT_TRUE(VersionResource::open(folder.write("whole.dll", whole).wstring()));
    for (const std::size_t size : {1U, 4U, 63U, 64U, 65U, 512U, 1000U}) {
        const std::string name = "cut" + std::to_string(size) + ".dll";
        EXPECT_FALSE(VersionResource::open(folder.write(name, whole.substr(0, size)).wstring())) << size;
    }
}

} // namespace
