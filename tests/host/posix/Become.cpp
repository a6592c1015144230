#include "tests/host/posix/Become.h"

#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace tests {

void become(const Words& arguments, const Environment& environment) {
    std::vector<char*> words;
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    for (const auto& [name, value] : environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    ::signal(SIGPIPE, SIG_DFL);
    ::execv(words[0], words.data());
    ::_exit(127);
}

} // namespace tests
