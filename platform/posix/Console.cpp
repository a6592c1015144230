#include "platform/Console.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "platform/posix/WaitForInput.h"
#include "text/SecureZero.h"

namespace platform {

namespace {

volatile std::sig_atomic_t g_signal = 0;

void noteSignal(int number) {
    g_signal = number;
}

/// While this object lives, signals that would end or stop the program only interrupt the wait for input. They are
/// blocked outside the wait, so that none is missed between a check of the flag and the wait.
class SignalGuard {
public:
    SignalGuard() noexcept {
        g_signal = 0;
        struct sigaction action = {};
        action.sa_handler = noteSignal;
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            if (!isNoted(kSignals[i])) {
                ::sigaction(kSignals[i], &action, &m_before[i]);
            }
        }
        sigset_t blocked;
        ::sigemptyset(&blocked);
        for (const int number : kSignals) {
            ::sigaddset(&blocked, number);
        }
        ::sigprocmask(SIG_BLOCK, &blocked, &m_mask);
    }
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;
    ~SignalGuard() {
        ::sigprocmask(SIG_SETMASK, &m_mask, nullptr);
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            if (!isNoted(kSignals[i])) {
                ::sigaction(kSignals[i], &m_before[i], nullptr);
            }
        }
    }

    /// The signals that were blocked before.
    [[nodiscard]] const sigset_t& mask() const noexcept { return m_mask; }

private:
    static constexpr std::array<int, 7> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGTTIN, SIGTTOU};
    std::array<struct sigaction, kSignals.size()> m_before = {};
    sigset_t m_mask = {};
};

enum class Echo { Off, On };

/// The terminal with or without echo; put back as it was when the object goes. What was typed before is dropped: it is
/// no answer to a question that was not there yet.
class EchoGuard {
public:
    EchoGuard(int terminal, Echo echo) noexcept : m_terminal(terminal) {
        m_known = ::tcgetattr(terminal, &m_before) == 0;
        struct termios wanted = m_before;
        if (echo == Echo::Off) {
            wanted.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            wanted.c_lflag |= ECHONL;
        }
        m_known = m_known && ::tcsetattr(terminal, TCSAFLUSH, &wanted) == 0;
    }
    EchoGuard(const EchoGuard&) = delete;
    EchoGuard& operator=(const EchoGuard&) = delete;
    ~EchoGuard() {
        if (m_known) {
            ::tcsetattr(m_terminal, TCSAFLUSH, &m_before);
        }
    }

    [[nodiscard]] bool isSet() const noexcept { return m_known; }

private:
    int m_terminal;
    bool m_known = false;
    struct termios m_before = {};
};

ssize_t readByte(int terminal, const sigset_t& mask, char& byte) noexcept {
    return waitForInput(terminal, mask) ? ::read(terminal, &byte, 1) : -1;
}

std::optional<std::size_t> readLine(int terminal, const sigset_t& mask, char* line, std::size_t room) noexcept {
    std::size_t length = 0;
    char byte = 0;
    ssize_t count = 0;
    while ((count = readByte(terminal, mask, byte)) == 1 && byte != '\n') {
        if (length < room) {
            line[length++] = byte;
        }
    }
    text::secureZero(&byte, 1);
    if (count < 0 || (count == 0 && length == 0)) {
        text::secureZero(line, length);
        return std::nullopt;
    }
    return length;
}

std::optional<std::size_t> ask(int terminal, const sigset_t& mask, Echo echo, const char* prompt, char* line,
                               std::size_t room) noexcept {
    const EchoGuard guard(terminal, echo);
    if (!guard.isSet()) {
        return std::nullopt;
    }
    [[maybe_unused]] ssize_t shown = ::write(terminal, prompt, std::strlen(prompt));
    const std::optional<std::size_t> length = readLine(terminal, mask, line, room);
    if (!length) {
        // Nobody ended the line, and what is said next begins one.
        shown = ::write(terminal, "\n", 1);
    }
    return length;
}

std::optional<std::size_t> askTerminal(Echo echo, const char* prompt, char* line, std::size_t room) noexcept {
    const int terminal = ::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
    if (terminal < 0) {
        return std::nullopt;
    }
    std::optional<std::size_t> length;
    int signal = 0;
    do {
        {
            const SignalGuard guard;
            length = ask(terminal, guard.mask(), echo, prompt, line, room);
        }
        signal = g_signal;
        // The terminal is restored, so the signal now has its usual effect. After a stop the prompt is shown again.
        if (signal != 0) {
            std::raise(signal);
        }
    } while (!length && (signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU));
    ::close(terminal);
    return length;
}

} // namespace

std::size_t terminalColumns() noexcept {
    struct winsize size = {};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool errorsGoToTerminal() noexcept {
    return ::isatty(STDERR_FILENO) == 1;
}

std::optional<std::size_t> readLineWithoutEcho(const char* prompt, char* line, std::size_t room) noexcept {
    return askTerminal(Echo::Off, prompt, line, room);
}

std::optional<std::size_t> readLineWithEcho(const char* prompt, char* line, std::size_t room) noexcept {
    return askTerminal(Echo::On, prompt, line, room);
}

} // namespace platform
