#include "tests/token/Shell.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>

namespace Token {

Outcome shell(const std::string& folder, const std::string& command) {
    FILE* pipe = ::popen(("cd '" + folder + "' && { " + command + "; } 2>&1 </dev/null").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("no shell");
    }
    Outcome outcome{-1, ""};
    std::array<char, 4096> bytes;
    for (std::size_t count = 0; (count = std::fread(bytes.data(), 1, bytes.size(), pipe)) > 0;) {
        outcome.output.append(bytes.data(), count);
    }
    const int status = ::pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

Folder::Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "token-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    m_path = name;
}

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
