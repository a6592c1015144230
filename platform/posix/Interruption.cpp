#include "platform/Interruption.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <optional>
#include <poll.h>
#include <pthread.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "platform/posix/WaitForInput.h"

namespace platform {

namespace {

constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> g_number = 0;
std::atomic<bool> g_isWatched = false;  ///< the first thread waits for signals
std::atomic<bool> g_isHandedOn = false; ///< a signal that another thread got is on its way to the first one
std::atomic<bool> g_hasEnded = false;   ///< the program, on its thread
pthread_t g_watcher = {};
sigset_t g_noted = {}; ///< empty before runNotingInterruptions
std::mutex g_mutex;
std::optional<pthread_t> g_waiting; ///< the thread that waits for input; guarded

/// Notes the first interruption and ends the process at the second.
void note(int number) noexcept {
    int none = 0;
    if (!g_number.compare_exchange_strong(none, number)) {
        ::_exit(interruptedStatus(number));
    }
}

/// Runs in the wait for input, which `wake` ends with a signal to that thread alone. Runs on other threads only while
/// the first one does not wait for a signal, because it is busy with one before, or where there is only one thread.
void handle(int number, siginfo_t* info, void*) {
    if (info->si_code == SI_TKILL) {
        return;
    }
    if (g_isWatched) {
        g_isHandedOn = true;
        ::pthread_kill(g_watcher, number);
    } else {
        note(number);
    }
}

/// While it lives, this thread waits for input. The signals are blocked outside of the wait itself, so that none is
/// missed between a look at the number and the wait; one that is sent when the wait has just ended is handled here.
class Waiting {
public:
    Waiting() noexcept {
        ::pthread_sigmask(SIG_BLOCK, &g_noted, &m_before);
        const std::lock_guard lock(g_mutex);
        g_waiting = ::pthread_self();
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() {
        {
            const std::lock_guard lock(g_mutex);
            g_waiting.reset();
        }
        ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }

private:
    sigset_t m_before = {};
};

void wake(int number) noexcept {
    const std::lock_guard lock(g_mutex);
    if (g_waiting) {
        ::pthread_kill(*g_waiting, number);
    }
}

/// The system gives a process's signals to its first thread as long as that one waits for them, so that no call of a
/// library on another thread is interrupted.
void watch() noexcept {
    for (int number = 0; ::sigwait(&g_noted, &number) == 0 && !g_hasEnded;) {
        note(number);
        wake(number);
    }
}

bool isIgnored(int number) noexcept {
    struct sigaction before = {};
    return ::sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
}

/// Restores the signals in a child process: a program that a library starts by fork must end by a signal as any other,
/// also before it calls exec.
void giveSignalsBack() noexcept {
    for (const int number : kSignals) {
        if (isNoted(number)) {
            ::signal(number, SIG_DFL);
        }
    }
    ::pthread_sigmask(SIG_UNBLOCK, &g_noted, nullptr);
}

/// Returns one of the signals that are noted; 0 when all are ignored.
int setHandlers() noexcept {
    struct sigaction action = {};
    action.sa_sigaction = handle;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    int noted = 0;
    ::sigemptyset(&g_noted);
    for (const int number : kSignals) {
        if (!isIgnored(number)) {
            ::sigaddset(&g_noted, number);
            ::sigaction(number, &action, nullptr);
            noted = number;
        }
    }
    return noted;
}

/// Runs the program on a thread with no signal blocked but those of `mask`, for what it starts by posix_spawn inherits
/// that; this thread, which takes nothing else, watches meanwhile and is ended by `noted`.
int runBeside(int noted, const sigset_t& mask, const std::function<int()>& program) {
    int status = 0;
    g_watcher = ::pthread_self();
    std::thread runner([&] {
        g_isWatched = true;
        ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
        status = program();
        g_isWatched = false;
        g_hasEnded = true;
        ::pthread_kill(g_watcher, noted);
    });
    watch();
    runner.join();
    return status;
}

} // namespace

int runNotingInterruptions(const std::function<int()>& program) {
    const int noted = setHandlers();
    if (noted == 0) {
        return program();
    }
    ::pthread_atfork(nullptr, nullptr, giveSignalsBack);
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, &before);
    try {
        const int status = runBeside(noted, before, program);
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return status;
    } catch (const std::system_error&) {
        // Without the second thread, the handlers note the signals, and interrupt the call under way.
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return program();
    }
}

int interruption() noexcept {
    return g_number;
}

bool isNoted(int signal) noexcept {
    return ::sigismember(&g_noted, signal) == 1;
}

bool waitForInput(int descriptor, sigset_t mask) noexcept {
    for (const int number : kSignals) {
        if (isNoted(number)) {
            ::sigdelset(&mask, number);
        }
    }
    struct pollfd input = {descriptor, POLLIN, 0};
    const Waiting waiting;
    do {
        g_isHandedOn = false;
        if (g_number == 0 && ::ppoll(&input, 1, nullptr, &mask) >= 0) {
            return true;
        }
        // One that was handed on ends the wait again when it has been noted.
    } while (g_number == 0 && g_isHandedOn);
    errno = EINTR;
    return false;
}

bool waitForInput(int descriptor) noexcept {
    sigset_t mask;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    while (g_number == 0) {
        if (waitForInput(descriptor, mask)) {
            return true;
        }
    }
    errno = EINTR;
    return false;
}

} // namespace platform
