#include <gtest/gtest.h>

#include "../Fixture.h"

namespace {

TEST(Module, OfAnotherArchitectureIsNamedInTheError) {
    const TemporaryFolder folder;
    std::string library = contentsOf(plainLibrary());
    ASSERT_GT(library.size(), 1024U);
    // The offset of the headers stands at 0x3C; behind their four-byte mark stands the machine.
    const std::size_t headers =
        static_cast<unsigned char>(library[0x3C]) + 256U * static_cast<unsigned char>(library[0x3D]);
    library[headers + 4] = static_cast<char>(0x64);
    library[headers + 5] = static_cast<char>(0xAA); // 64-bit ARM
    const auto loaded = platform::DynamicLibrary::load(folder.write("other.dll", library).wstring().c_str());
    EXPECT_FALSE(loaded.isLoaded());
    EXPECT_NE(platform::DynamicLibrary::lastError().find("another architecture"), std::string::npos)
        << platform::DynamicLibrary::lastError();
}

} // namespace
