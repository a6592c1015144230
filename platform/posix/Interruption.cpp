#include "platform/Interruption.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
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
sigset_t g_noted = {}; ///< empty before noteInterruptions
pthread_t g_reader = {};

/// Notes the first interruption and ends the process at the second.
void note(int number) noexcept {
    int none = 0;
    if (!g_number.compare_exchange_strong(none, number)) {
        ::_exit(interruptedStatus(number));
    }
}

/// Runs on a thread on which a library has unblocked the signal, and in the wait for input: `watch` sends the signal to
/// the waiting thread alone.
void handle(int number, siginfo_t* info, void*) {
    if (info->si_code != SI_TKILL) {
        note(number);
    }
}

void watch() noexcept {
    for (int number = 0; ::sigwait(&g_noted, &number) == 0;) {
        note(number);
        // The signal stays pending on that thread until it waits for input, so none is missed between a check and the
        // wait.
        ::pthread_kill(g_reader, number);
    }
}

bool isIgnored(int number) noexcept {
    struct sigaction before = {};
    return ::sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
}

/// Restores the signals in a child process: a program that a library starts must end by a signal as any other.
void giveSignalsBack() noexcept {
    for (const int number : kSignals) {
        if (isNoted(number)) {
            ::signal(number, SIG_DFL);
        }
    }
    ::pthread_sigmask(SIG_UNBLOCK, &g_noted, nullptr);
}

void setHandlers() noexcept {
    struct sigaction action = {};
    action.sa_sigaction = handle;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    for (const int number : kSignals) {
        if (!isIgnored(number)) {
            ::sigaddset(&g_noted, number);
            ::sigaction(number, &action, nullptr);
        }
    }
}

} // namespace

void noteInterruptions() noexcept {
    g_reader = ::pthread_self();
    ::sigemptyset(&g_noted);
    setHandlers();
    ::pthread_atfork(nullptr, nullptr, giveSignalsBack);
    ::pthread_sigmask(SIG_BLOCK, &g_noted, nullptr);
    try {
        std::thread(watch).detach();
    } catch (const std::system_error&) {
        // Without the watching thread, the handlers note the signals on the thread that receives them.
        ::pthread_sigmask(SIG_UNBLOCK, &g_noted, nullptr);
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
    if (g_number == 0 && ::ppoll(&input, 1, nullptr, &mask) >= 0) {
        return true;
    }
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
