#include "platform/Program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "platform/Interruption.h"
#include "platform/Sleep.h"
#include "platform/posix/Spawn.h"

namespace platform {

namespace {

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
    pid_t process = -1;
    SpawnStreams streams;
    streams.output = ends[1];
    const int error = spawn(process, arguments, streams, SpawnSession::Ours);
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
    return exitStatus(status);
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
