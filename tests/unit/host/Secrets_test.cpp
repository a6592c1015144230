// Secrets as the host takes them from files and descriptors.

#include "host/scripts/Secrets.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

#include "host/plugin/Errors.h"

namespace host {
namespace {

std::string secretText(const WipedBytes& secret) {
    return {secret.data(), secret.size()};
}

std::string refusalOfSecret(const std::function<WipedBytes()>& read) {
    try {
        static_cast<void>(read());
    } catch (const UsageError& error) {
        return error.what();
    }
    return "";
}

class SecretFiles : public ::testing::Test {
protected:
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }

    /// Its name as UTF-8.
    std::string file(const std::string& contents) const {
        std::ofstream(m_path, std::ios::binary) << contents;
        const std::u8string name = m_path.u8string();
        return {name.begin(), name.end()};
    }

private:
    const std::filesystem::path m_path =
        std::filesystem::temp_directory_path() /
        ("zel-secret-" + std::to_string(std::random_device()()) + "-" + std::to_string(std::random_device()()));
};

TEST_F(SecretFiles, giveTheirFirstLine) {
    EXPECT_EQ(secretText(secretFromFile(file("1234"))), "1234");
    EXPECT_EQ(secretText(secretFromFile(file("1234\n5678\n"))), "1234");
    EXPECT_EQ(secretText(secretFromFile(file("12 34\r\nmore"))), "12 34");
    EXPECT_EQ(secretText(secretFromFile(file("\xEF\xBB\xBF"
                                             "1234"))),
              "1234");
}

TEST_F(SecretFiles, areRefusedInUtf16) {
    for (const std::string& contents : {std::string("\xFF\xFE\x31\x00", 4), std::string("\xFE\xFF\x00\x31", 4)}) {
        const std::string name = file(contents);
        EXPECT_EQ(refusalOfSecret([&] { return secretFromFile(name); }),
                  "file \"" + name + "\" is UTF-16; write it as UTF-8");
    }
}

TEST_F(SecretFiles, areRefusedWithoutASecret) {
    for (const std::string contents : {"", "\n", "\r\n1234"}) {
        const std::string name = file(contents);
        EXPECT_NE(refusalOfSecret([&] { return secretFromFile(name); }), "") << contents;
    }
    EXPECT_NE(refusalOfSecret([&] { return secretFromFile(file("") + "-that-is-not-there"); }), "");
}

TEST_F(SecretFiles, holdAtMost64KiB) {
    EXPECT_EQ(secretFromFile(file(std::string(65536, 'x'))).size(), 65536U);
    const std::string name = file(std::string(65537, 'x'));
    EXPECT_NE(refusalOfSecret([&] { return secretFromFile(name); }), "");
}

TEST_F(SecretFiles, areReadWholeAsValues) {
    const std::string contents("\x00\r\n\xFF", 4);
    EXPECT_EQ(secretText(readFile(file(contents))), contents);
    EXPECT_EQ(readFile(file("")).size(), 0U);
}

TEST(SecretDescriptors, mayNotBeTheProgramsOutputs) {
    for (const char* number : {"1", "2", "", "x", "-1", "3 ", "99999999999999999999"}) {
        EXPECT_NE(refusalOfSecret([number] { return secretFromDescriptor(number); }), "") << number;
    }
}

} // namespace
} // namespace host
