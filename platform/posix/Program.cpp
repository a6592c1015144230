#include "platform/Program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "platform/Interruption.h"
#include "platform/Sleep.h"

// NOLINTNEXTLINE(readability-redundant-declaration): POSIX leaves it to the program to declare it
extern "C" char** environ;

namespace platform {

namespace {

/// What a new process begins with: the pipe as its output, and signals as every program expects them. Ours are blocked
/// or ignored.
class Beginning {
public:
    explicit Beginning(int output) noexcept {
        ::posix_spawn_file_actions_init(&m_files);
        ::posix_spawn_file_actions_addopen(&m_files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&m_files, output, STDOUT_FILENO);
        ::posix_spawnattr_init(&m_attributes);
        sigset_t none;
        ::sigemptyset(&none);
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        sigset_t usual = none;
        for (const int number : {SIGPIPE, SIGXFSZ}) {
            ::sigaddset(&usual, number);
        }
        ::posix_spawnattr_setsigdefault(&m_attributes, &usual);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    Beginning(const Beginning&) = delete;
    Beginning& operator=(const Beginning&) = delete;
    ~Beginning() {
        ::posix_spawn_file_actions_destroy(&m_files);
        ::posix_spawnattr_destroy(&m_attributes);
    }

    [[nodiscard]] int start(pid_t& process, char* const* arguments) const noexcept {
        return ::posix_spawnp(&process, arguments[0], &m_files, &m_attributes, arguments, environ);
    }

private:
    posix_spawn_file_actions_t m_files{};
    posix_spawnattr_t m_attributes{};
};

pid_t processOf(void* process) noexcept {
    return static_cast<pid_t>(reinterpret_cast<std::intptr_t>(process));
}

} // namespace

std::optional<Program> Program::start(const std::vector<std::string>& arguments) {
    std::array<int, 2> ends = {-1, -1};
    if (arguments.empty() || ::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    InputStream output = InputStream::adopt(ends[0]);
    std::vector<char*> words;
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    pid_t process = -1;
    const int error = Beginning(ends[1]).start(process, words.data());
    ::close(ends[1]);
    errno = error;
    if (error != 0) {
        return std::nullopt;
    }
    return Program(reinterpret_cast<void*>(static_cast<std::intptr_t>(process)), std::move(output));
}

Program::Program(Program&& other) noexcept : m_process(other.m_process), m_output(std::move(other.m_output)) {
    other.m_process = nullptr;
}

Program::~Program() {
    [[maybe_unused]] const int status = wait();
}

bool Program::waitFor(std::chrono::milliseconds limit) const noexcept {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kPause{5}; // between two looks for the end and for an interruption
    const Clock::time_point begin = Clock::now();
    while (interruption() == 0) {
        siginfo_t ended = {};
        const int result =
            ::waitid(P_PID, static_cast<id_t>(processOf(m_process)), &ended, WEXITED | WNOHANG | WNOWAIT);
        if (ended.si_pid != 0 || (result != 0 && errno != EINTR)) {
            return true;
        }
        if (Clock::now() - begin >= limit) {
            return false;
        }
        sleepFor(kPause);
    }
    return false;
}

void Program::end() noexcept {
    if (m_process != nullptr) {
        ::kill(processOf(m_process), SIGKILL);
    }
}

int Program::wait() noexcept {
    if (m_process == nullptr) {
        return 0;
    }
    if (interruption() != 0) {
        end();
    }
    const pid_t process = processOf(m_process);
    m_process = nullptr;
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string Program::describeEnd(int status) {
    const int number = status - 128;
    const char* const name = number > 0 && number < NSIG ? ::sigdescr_np(number) : nullptr;
    return name == nullptr ? "" : "signal " + std::to_string(number) + ", " + name;
}

std::string Program::lastError() {
    return std::generic_category().message(errno);
}

} // namespace platform
