#include "platform/Streams.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "platform/FileIdentity.h"
#include "platform/Interruption.h"
#include "platform/posix/WaitForInput.h"

namespace platform {

namespace {

int g_results = -1;
FileIdentity g_resultsIdentity;
FileIdentity g_errorsIdentity;
int g_input = -1;

bool writeAll(int descriptor, const char* text, std::size_t length) noexcept {
    while (length > 0) {
        const ssize_t written = ::write(descriptor, text, length);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

bool isOpen(int descriptor) noexcept {
    return ::fcntl(descriptor, F_GETFD) != -1;
}

} // namespace

std::optional<InputStream> InputStream::open(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    return InputStream(descriptor, true);
}

bool InputStream::rewind() noexcept {
    return ::lseek(m_descriptor, 0, SEEK_SET) == 0;
}

InputStream InputStream::descriptor(int number) noexcept {
    return InputStream(number == g_input ? -1 : number, false);
}

std::optional<InputStream> InputStream::takeStandardInput() noexcept {
    const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    g_input = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const bool isTaken = null >= 0 && g_input >= 0 && ::dup2(null, STDIN_FILENO) == STDIN_FILENO;
    ::close(null);
    return isTaken ? std::optional(InputStream(g_input, true)) : std::nullopt;
}

void InputStream::close() noexcept {
    if (m_owned) {
        ::close(m_descriptor);
        m_owned = false;
    }
}

std::optional<std::size_t> InputStream::read(char* target, std::size_t room) noexcept {
    while (waitForInput(m_descriptor)) {
        const ssize_t count = ::read(m_descriptor, target, room);
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            break;
        }
    }
    return std::nullopt;
}

bool InputStream::waitFor(std::chrono::milliseconds limit) const noexcept {
    using Clock = std::chrono::steady_clock;
    constexpr int kPause = 50; // milliseconds between two looks for an interruption
    const Clock::time_point begin = Clock::now();
    while (interruption() == 0) {
        struct pollfd input = {m_descriptor, POLLIN, 0};
        const int ready = ::poll(&input, 1, kPause);
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return true;
        }
        if (Clock::now() - begin >= limit) {
            return false;
        }
    }
    return false;
}

bool InputStream::isOpenToOthers() const noexcept {
    struct stat info = {};
    return ::fstat(m_descriptor, &info) == 0 && S_ISREG(info.st_mode) && (info.st_mode & (S_IRWXG | S_IRWXO)) != 0;
}

bool InputStream::isStandardInput() const noexcept {
    return FileIdentity(m_descriptor).isStill(STDIN_FILENO);
}

std::string InputStream::lastError() {
    return std::generic_category().message(errno);
}

void keepStandardOutput() noexcept {
    // When standard output was closed, writeResult still fails: the null device only takes the number.
    const bool hasResults = isOpen(STDOUT_FILENO);
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (!isOpen(descriptor)) {
            [[maybe_unused]] const int opened = ::open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY);
        }
    }
    if (hasResults) {
        g_results = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    }
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    g_resultsIdentity = FileIdentity(g_results);
    g_errorsIdentity = FileIdentity(STDERR_FILENO);
}

bool writeResult(const char* text, std::size_t length) noexcept {
    return g_resultsIdentity.isStill(g_results) && writeAll(g_results, text, length);
}

std::optional<TerminalWindow> resultWindow() noexcept {
    struct winsize size = {};
    if (!g_resultsIdentity.isStill(g_results) || ::isatty(g_results) == 0) {
        return std::nullopt;
    }
    // A terminal on a line does not know its size.
    const bool isKnown = ::ioctl(g_results, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 && size.ws_row != 0;
    return isKnown ? TerminalWindow{size.ws_col, size.ws_row} : TerminalWindow{80, 24};
}

void writeMessage(const char* text, std::size_t length) noexcept {
    [[maybe_unused]] const bool written =
        g_errorsIdentity.isStill(STDERR_FILENO) && writeAll(STDERR_FILENO, text, length);
}

} // namespace platform
