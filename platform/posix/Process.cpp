#include "platform/Process.h"

#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "text/SecureZero.h"

namespace platform {

std::vector<std::string> commandLineArguments(int argc, char** argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

std::optional<WipedBytes> environmentVariable(const char* name) {
    const char* const value = ::secure_getenv(name);
    return value == nullptr ? std::nullopt
                            : std::optional<WipedBytes>(std::in_place, value, value + std::strlen(value));
}

void setEnvironmentVariable(const char* name, const std::string& value) {
    ::setenv(name, value.c_str(), 1);
}

void removeEnvironmentVariable(const char* name) noexcept {
    const std::size_t length = std::strlen(name);
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, name, length) == 0 && (*entry)[length] == '=') {
            char* const value = *entry + length + 1;
            text::secureZero(value, std::strlen(value));
        }
    }
    ::unsetenv(name);
}

void keepMemoryPrivate() noexcept {
    const struct rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0);
}

std::string executablePath() {
    char path[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

void ignoreBrokenPipes() noexcept {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

} // namespace platform
