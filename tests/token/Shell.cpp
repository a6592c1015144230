#include "tests/token/Shell.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace Token {

Folder::Folder() : m_path(makeTemporaryFolder()) {}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void Folder::write(const std::string& name, const std::string& content) const {
    std::ofstream(m_path + "/" + name, std::ios::binary) << content;
}

std::string Folder::read(const std::string& name) const {
    std::ifstream stream(m_path + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string Folder::run(const std::string& command) const {
    const Outcome outcome = shell(m_path, command);
    EXPECT_EQ(outcome.status, 0) << command << "\n" << outcome.output;
    return outcome.output;
}

} // namespace Token
