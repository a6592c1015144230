#include "tests/token/Shell.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <thread>
#include <windows.h>

#include <fstream>
#include <iterator>

namespace Token {

namespace {

/// Programs of the system below get the environment that Wine was started with, so that these are given to each.
std::map<std::string, std::string>& variables() {
    static std::map<std::string, std::string> s_variables;
    return s_variables;
}

std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// The status comes last and in one piece, so that who finds it finds the output complete.
void writeScript(const std::string& file, const std::string& folder, const std::string& command) {
    std::ofstream script(file, std::ios::binary);
    for (const auto& [name, value] : variables()) {
        script << "export " << name << "='" << value << "'\n";
    }
    script << "cd '" << folder << "'\n( " << command << "\n) >" << file << ".output 2>&1 </dev/null\n"
           << "echo $? >" << file << ".ended; mv " << file << ".ended " << file << ".status\n";
}

/// Wine starts a program of the system below and gives no handle of it.
void start(const std::string& script) {
    std::string line = "/bin/sh " + script;
    STARTUPINFOA information = {};
    information.cb = sizeof information;
    PROCESS_INFORMATION process = {};
    if (CreateProcessA("Z:\\bin\\sh", line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &information,
                       &process) == 0) {
        throw std::runtime_error("no shell");
    }
}

} // namespace

Outcome shell(const std::string& folder, const std::string& command) {
    using Clock = std::chrono::steady_clock;
    // A name of its own, because the shell still has its script open when its status is there.
    static int s_count = 0;
    const std::string script = folder + "/shell-" + std::to_string(++s_count);
    writeScript(script, folder, command);
    start(script);
    const Clock::time_point latest = Clock::now() + std::chrono::minutes(5);
    while (!std::filesystem::exists(script + ".status")) {
        if (Clock::now() > latest) {
            throw std::runtime_error("this does not end: " + command);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return {std::stoi(contentOf(script + ".status")), contentOf(script + ".output")};
}

void setVariable(const std::string& name, const std::string& value) {
    ::_putenv_s(name.c_str(), value.c_str());
    variables()[name] = value;
}

std::string makeTemporaryFolder() {
    // Not Windows' own folder: this name is one to the shell too, because the current drive is the system below.
    const char* parent = std::getenv("TEST_FOLDER");
    const std::string start =
        std::string(parent == nullptr ? "/tmp" : parent) + "/token-test-" + std::to_string(GetCurrentProcessId()) + "-";
    for (int i = 0; i < 10000; ++i) {
        if (std::filesystem::create_directory(start + std::to_string(i))) {
            return start + std::to_string(i);
        }
    }
    throw std::runtime_error("no temporary folder");
}

} // namespace Token
