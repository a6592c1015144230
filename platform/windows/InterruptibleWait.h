#pragma once

#include <windows.h>

namespace platform {

/// While it lives, an interruption cancels what this thread waits for. One at a time.
class InterruptibleWait {
public:
    InterruptibleWait() noexcept;
    InterruptibleWait(const InterruptibleWait&) = delete;
    InterruptibleWait& operator=(const InterruptibleWait&) = delete;
    ~InterruptibleWait();

private:
    HANDLE m_thread = nullptr;
};

} // namespace platform
