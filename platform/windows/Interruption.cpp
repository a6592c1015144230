#include "platform/Interruption.h"

#include <atomic>
#include <mutex>
#include <windows.h>

#include "platform/windows/InterruptibleWait.h"

namespace platform {

namespace {

constexpr int kHangUp = 1;
constexpr int kInterrupt = 2;
constexpr int kTerminate = 15;
constexpr DWORD kPause = 20;

std::atomic<int> g_number = 0;
std::mutex g_mutex;
HANDLE g_waiting = nullptr; ///< the thread that waits for input; guarded

int numberOf(DWORD event) noexcept {
    switch (event) {
    case CTRL_C_EVENT:
    case CTRL_BREAK_EVENT:
        return kInterrupt;
    case CTRL_CLOSE_EVENT:
        return kHangUp;
    default:
        return kTerminate;
    }
}

/// Cancels the wait for input. Returns false when no thread waits; call again otherwise, because a wait that has not
/// begun yet is not cancelled.
bool cancelWait() noexcept {
    const std::lock_guard lock(g_mutex);
    if (g_waiting != nullptr) {
        CancelSynchronousIo(g_waiting);
    }
    return g_waiting != nullptr;
}

/// Windows calls it on a thread of its own.
BOOL WINAPI handle(DWORD event) {
    const int number = numberOf(event);
    int none = 0;
    if (!g_number.compare_exchange_strong(none, number)) {
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(interruptedStatus(number)));
    }
    while (cancelWait()) {
        Sleep(kPause);
    }
    if (number != kInterrupt) {
        Sleep(INFINITE); // the system ends the process when this returns
    }
    return TRUE;
}

} // namespace

int runNotingInterruptions(const std::function<int()>& program) {
    SetConsoleCtrlHandler(handle, TRUE);
    return program();
}

int interruption() noexcept {
    return g_number;
}

InterruptibleWait::InterruptibleWait() noexcept {
    const HANDLE process = GetCurrentProcess();
    DuplicateHandle(process, GetCurrentThread(), process, &m_thread, 0, FALSE, DUPLICATE_SAME_ACCESS);
    const std::lock_guard lock(g_mutex);
    g_waiting = m_thread;
}

InterruptibleWait::~InterruptibleWait() {
    {
        const std::lock_guard lock(g_mutex);
        g_waiting = nullptr;
    }
    CloseHandle(m_thread);
}

} // namespace platform
