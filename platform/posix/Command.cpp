#include "platform/Command.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "platform/Process.h"
#include "platform/posix/Spawn.h"

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;
using End = CommandResult::End;

constexpr std::size_t kPiece = 65536;
constexpr std::size_t kTail = 4096;

/// A descriptor that is closed with the object.
class Descriptor {
public:
    Descriptor() noexcept = default;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    void take(int number) noexcept {
        close();
        m_number = number;
    }
    void close() noexcept {
        if (m_number >= 0) {
            ::close(m_number);
            m_number = -1;
        }
    }
    [[nodiscard]] int number() const noexcept { return m_number; }

private:
    int m_number = -1;
};

/// Our end never waits; the command's end does, as programs expect it.
enum class OurEnd { Reads, Writes };

struct Pipe {
    Descriptor ours;
    Descriptor theirs;

    [[nodiscard]] bool open(OurEnd end) noexcept {
        std::array<int, 2> ends = {-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            return false;
        }
        ours.take(ends[end == OurEnd::Reads ? 0 : 1]);
        theirs.take(ends[end == OurEnd::Reads ? 1 : 0]);
        return ::fcntl(ours.number(), F_SETFL, O_NONBLOCK) == 0;
    }
};

/// A command on its way, which is killed with all that it has started when the object ends.
class Running {
public:
    Running(std::string_view input, const CommandLimits& limits, CommandResult& result) noexcept
        : m_rest(input), m_mostOutput(limits.output), m_result(result) {}
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() { kill(); }

    /// Returns 0 or an errno.
    [[nodiscard]] int start(const std::vector<std::string>& arguments) {
        m_piece.resize(kPiece);
        if (!m_input.open(OurEnd::Writes) || !m_output.open(OurEnd::Reads) || !m_errors.open(OurEnd::Reads)) {
            return errno;
        }
        const int error =
            spawn(m_process, arguments, {m_input.theirs.number(), m_output.theirs.number(), m_errors.theirs.number()},
                  SpawnSession::Own);
        if (error != 0) {
            m_process = 0;
            return error;
        }
        for (Pipe* const pipe : {&m_input, &m_output, &m_errors}) {
            pipe->theirs.close();
        }
        if (m_rest.empty()) {
            m_input.ours.close();
        }
        m_end.take(static_cast<int>(::syscall(SYS_pidfd_open, m_process, 0)));
        return m_end.number() < 0 ? errno : 0;
    }

    /// Carries bytes until the command has ended or has reached a limit.
    [[nodiscard]] End carry(Clock::time_point limit) {
        for (;;) {
            std::array<pollfd, 4> events = {{{m_input.ours.number(), POLLOUT, 0},
                                             {m_output.ours.number(), POLLIN, 0},
                                             {m_errors.ours.number(), POLLIN, 0},
                                             {m_end.number(), POLLIN, 0}}};
            if (::poll(events.data(), events.size(), waitUntil(limit)) == 0) {
                return End::TimedOut;
            }
            if (events[0].revents != 0) {
                write();
            }
            if (events[1].revents != 0 && !readOutput()) {
                return End::TooMuch;
            }
            if (events[2].revents != 0) {
                readErrors();
            }
            if (events[3].revents != 0) {
                return End::Ended;
            }
            if (Clock::now() >= limit) {
                return End::TimedOut;
            }
        }
    }

    /// Reads what is left in the pipes, once nobody writes any more. Returns false when the output is too long.
    [[nodiscard]] bool drain() {
        while (m_errors.ours.number() >= 0 && readErrors()) {
        }
        while (m_output.ours.number() >= 0) {
            const std::size_t before = m_result.output.size();
            if (!readOutput()) {
                return false;
            }
            if (m_result.output.size() == before) {
                break;
            }
        }
        return true;
    }

    /// Kills what runs of it, and returns its exit status. The group has its number until the leader is waited for.
    int kill() noexcept {
        if (m_process == 0) {
            return 0;
        }
        ::kill(-m_process, SIGKILL);
        int status = 0;
        while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
        }
        m_process = 0;
        return exitStatus(status);
    }

private:
    static int waitUntil(Clock::time_point limit) noexcept {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
        return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(rest, 0, INT_MAX));
    }

    void write() noexcept {
        const ssize_t written = ::write(m_input.ours.number(), m_rest.data(), m_rest.size());
        if (written > 0) {
            m_rest.remove_prefix(static_cast<std::size_t>(written));
        }
        // A command that has closed its input wants no more of it.
        if (m_rest.empty() || (written < 0 && errno != EAGAIN && errno != EINTR)) {
            m_input.ours.close();
        }
    }

    /// Reads a piece and returns its length; 0 when nothing can be read now. Closes the pipe at its end.
    std::size_t read(Pipe& pipe) noexcept {
        const ssize_t count = ::read(pipe.ours.number(), m_piece.data(), m_piece.size());
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
            pipe.ours.close();
        }
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

    /// Returns false when the output is too long.
    [[nodiscard]] bool readOutput() {
        const std::size_t count = read(m_output);
        if (count > m_mostOutput - m_result.output.size()) {
            return false;
        }
        m_result.output.insert(m_result.output.end(), m_piece.data(), m_piece.data() + count);
        return true;
    }

    bool readErrors() {
        const std::size_t count = read(m_errors);
        WipedBytes& errors = m_result.errors;
        errors.insert(errors.end(), m_piece.data(), m_piece.data() + count);
        if (errors.size() > kTail) {
            errors.erase(errors.begin(), errors.end() - kTail);
        }
        return count > 0;
    }

    std::string_view m_rest;
    std::size_t m_mostOutput;
    CommandResult& m_result;
    WipedBytes m_piece;
    Pipe m_input;
    Pipe m_output;
    Pipe m_errors;
    pid_t m_process = 0;
    Descriptor m_end; ///< can be read when the process has ended
};

bool holdsZeroByte(const std::vector<std::string>& arguments) {
    return std::any_of(arguments.begin(), arguments.end(),
                       [](const std::string& argument) { return argument.find('\0') != std::string::npos; });
}

} // namespace

CommandResult runCommand(const std::vector<std::string>& arguments, std::string_view input,
                         const CommandLimits& limits) {
    ignoreBrokenPipes();
    CommandResult result;
    if (arguments.empty() || holdsZeroByte(arguments)) {
        result.reason = arguments.empty() ? "no program is named" : "an argument holds a zero byte";
        return result;
    }
    const Clock::time_point limit = Clock::now() + limits.time;
    Running running(input, limits, result);
    if (const int error = running.start(arguments); error != 0) {
        result.reason = std::generic_category().message(error);
        return result;
    }
    result.end = running.carry(limit);
    const int status = running.kill();
    if (result.end == End::Ended) {
        result.status = status;
        result.end = running.drain() ? End::Ended : End::TooMuch;
    }
    return result;
}

bool isStartable(const std::string& program) {
    const auto isProgram = [](const std::string& file) {
        struct stat status = {};
        return ::stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(file.c_str(), X_OK) == 0;
    };
    if (program.find('/') != std::string::npos) {
        return isProgram(program);
    }
    std::string path = environmentText("PATH");
    path = path.empty() ? "/bin:/usr/bin" : path;
    std::string_view folders = path;
    while (true) {
        const std::size_t end = folders.find(':');
        const std::string_view folder = folders.substr(0, end);
        if (!program.empty() && isProgram((folder.empty() ? "." : std::string(folder)) + "/" + program)) {
            return true;
        }
        if (end == std::string_view::npos) {
            return false;
        }
        folders.remove_prefix(end + 1);
    }
}

} // namespace platform
