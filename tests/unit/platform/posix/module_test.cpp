#include <gtest/gtest.h>

#include "../Fixture.h"

namespace {

TEST(Module, OfAnotherArchitectureIsNamedInTheError) {
    const TemporaryFolder folder;
    std::string library = contentsOf(plainLibrary());
    ASSERT_GT(library.size(), 64U);
    library[4] = 1; // 32 bits
    const auto loaded = platform::DynamicLibrary::load(folder.write("other.so", library).wstring().c_str());
    EXPECT_FALSE(loaded.isLoaded());
    EXPECT_NE(platform::DynamicLibrary::lastError().find("wrong ELF class"), std::string::npos)
        << platform::DynamicLibrary::lastError();
}

// The handle of a library is no address inside it here: the question must be answered, not crash.
TEST(Module, FileNameOfAnAddressOutsideEveryModuleIsEmpty) {
    int onTheStack = 0;
    EXPECT_EQ(platform::moduleFileName(&onTheStack), L"");
}

TEST(Module, FileNameOfTheProgramIsItsFile) {
    static int inTheProgram = 0;
    EXPECT_EQ(std::filesystem::path(platform::moduleFileName(&inTheProgram)),
              std::filesystem::read_symlink("/proc/self/exe"));
}

} // namespace
