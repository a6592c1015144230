#include "tests/token/Shell.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
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

void setVariable(const std::string& name, const std::string& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
}

std::string makeTemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "token-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    return name;
}

} // namespace Token
