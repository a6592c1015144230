#include "platform/DynamicLibrary.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include "Fixture.h"

namespace {

using platform::DynamicLibrary;

int answerOf(const DynamicLibrary& library) {
    void* const address = library.symbol("fixtureAnswer");
    return address == nullptr ? -1 : reinterpret_cast<int (*)()>(address)();
}

TEST(DynamicLibrary, LoadsAFileAndFindsItsSymbols) {
    const DynamicLibrary library = DynamicLibrary::load(plainLibrary().c_str());
    ASSERT_TRUE(library.isLoaded()) << DynamicLibrary::lastError();
    EXPECT_NE(library.handle(), nullptr);
    EXPECT_EQ(answerOf(library), 42);
    EXPECT_EQ(library.symbol("noSuchSymbol"), nullptr);
}

TEST(DynamicLibrary, LoadsAFileWhoseNameIsNotAscii) {
    const TemporaryFolder folder;
    // The standard library converts names by the locale: the wide name is put together by hand.
    std::filesystem::copy_file(plainLibrary(), folder.path() / u8"M\u00F6dul \u20AC.lib");
    const std::wstring name = L"M\xF6"
                              L"dul \x20AC.lib";
    DynamicLibrary library = DynamicLibrary::load((folder.path().wstring() + L"/" + name).c_str());
    ASSERT_TRUE(library.isLoaded()) << DynamicLibrary::lastError();
    EXPECT_EQ(answerOf(library), 42);
    EXPECT_TRUE(platform::moduleFileName(moduleOf(library)).ends_with(name));
    library.unload();
}

TEST(DynamicLibrary, SaysThatAFileIsMissing) {
    const DynamicLibrary library = DynamicLibrary::load(L"no-such-library.xyz");
    EXPECT_FALSE(library.isLoaded());
    EXPECT_EQ(library.handle(), nullptr);
    EXPECT_EQ(library.symbol("fixtureAnswer"), nullptr);
    const char* const expected = kIsWindows ? "not found" : "No such file";
    EXPECT_NE(DynamicLibrary::lastError().find(expected), std::string::npos) << DynamicLibrary::lastError();
}

TEST(DynamicLibrary, SaysThatAFileIsNoLibrary) {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.write("text.dll", std::string(5000, 'x'));
    EXPECT_FALSE(DynamicLibrary::load(file.wstring().c_str()).isLoaded());
    const char* const expected = kIsWindows ? "not a library" : "invalid ELF header";
    EXPECT_NE(DynamicLibrary::lastError().find(expected), std::string::npos) << DynamicLibrary::lastError();
}

TEST(DynamicLibrary, TakesNoNameForTheProgramItself) {
    EXPECT_FALSE(DynamicLibrary::load(L"").isLoaded());
    EXPECT_EQ(DynamicLibrary::lastError(), "no library name was given");
}

TEST(DynamicLibrary, PassesTheLibraryOnWhenMoved) {
    DynamicLibrary first = DynamicLibrary::load(plainLibrary().c_str());
    ASSERT_TRUE(first.isLoaded());
    DynamicLibrary second(std::move(first));
    EXPECT_FALSE(first.isLoaded()); // NOLINT(bugprone-use-after-move): what is left is part of the contract
    EXPECT_EQ(answerOf(second), 42);
    DynamicLibrary third;
    third = std::move(second);
    EXPECT_FALSE(second.isLoaded()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(answerOf(third), 42);
    third.unload();
    EXPECT_FALSE(third.isLoaded());
    third.unload();
}

TEST(DynamicLibrary, LetsGoOfTheLibraryAtItsEnd) {
    const TemporaryFolder folder;
    const std::filesystem::path copy = folder.path() / "short-lived.lib";
    std::filesystem::copy_file(plainLibrary(), copy);
    void* module = nullptr;
    {
        const DynamicLibrary library = DynamicLibrary::load(copy.wstring().c_str());
        ASSERT_TRUE(library.isLoaded());
        module = moduleOf(library);
        EXPECT_NE(platform::moduleFileName(module), L"");
    }
    EXPECT_EQ(platform::moduleFileName(module), L"");
}

TEST(ModuleFileName, IsTheFullPath) {
    const DynamicLibrary library = DynamicLibrary::load(versionedLibrary().c_str());
    ASSERT_TRUE(library.isLoaded());
    const std::filesystem::path name = platform::moduleFileName(moduleOf(library));
    EXPECT_TRUE(name.is_absolute());
    EXPECT_TRUE(std::filesystem::equivalent(name, versionedLibrary()));
}

TEST(ModuleFileName, IsEmptyForWhatIsNoModule) {
    EXPECT_EQ(platform::moduleFileName(nullptr), L"");
}

} // namespace
