#include "platform/CurrentDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Fixture.h"

namespace {

constexpr wchar_t kSeparator = std::filesystem::path::preferred_separator;

class CurrentDirectory : public testing::Test {
protected:
    void TearDown() override { std::filesystem::current_path(m_before); }

    std::filesystem::path m_before = std::filesystem::current_path();
    TemporaryFolder m_folder;
};

TEST_F(CurrentDirectory, IsTheFullPathWithItsTerminator) {
    const std::filesystem::path folder = m_folder.path() / u8"Sch\u00F6n\u20AC";
    std::filesystem::create_directory(folder);
    std::filesystem::current_path(folder);
    wchar_t buffer[512];
    std::fill(std::begin(buffer), std::end(buffer), L'x');
    platform::currentDirectory(buffer, 512);
    // The standard library converts by the locale: only the folder's own part is plain.
    std::filesystem::current_path(m_folder.path());
    const std::wstring parent = std::filesystem::current_path().wstring();
    EXPECT_EQ(std::wstring(buffer), parent + kSeparator + L"Sch\xF6n\x20AC");
}

TEST_F(CurrentDirectory, IsEmptyWhereItDoesNotFit) {
    std::filesystem::current_path(m_folder.path());
    const std::size_t length = std::filesystem::current_path().wstring().size();
    std::wstring buffer(length + 2, L'x');
    platform::currentDirectory(buffer.data(), length);
    EXPECT_EQ(buffer[0], L'\0');
    EXPECT_EQ(buffer[length], L'x');
    platform::currentDirectory(buffer.data(), length + 1);
    EXPECT_EQ(std::wstring(buffer.c_str()), std::filesystem::current_path().wstring());
    EXPECT_EQ(buffer[length + 1], L'x');
    platform::currentDirectory(buffer.data(), 1);
    EXPECT_EQ(buffer[0], L'\0');
    buffer[0] = L'x';
    platform::currentDirectory(buffer.data(), 0);
    EXPECT_EQ(buffer[0], L'x');
}

} // namespace
