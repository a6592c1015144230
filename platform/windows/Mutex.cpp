#include "platform/Mutex.h"

#include <windows.h>

#include "platform/MutexFault.h"

namespace platform {

Mutex::~Mutex() {
    if (m_handle != nullptr) {
        CloseHandle(m_handle);
    }
}

bool Mutex::create(std::uint32_t& error) noexcept {
    error = testing::takeMutexFault();
    if (error != 0) {
        return false;
    }
    m_handle = CreateMutexW(nullptr, FALSE, nullptr);
    if (m_handle == nullptr) {
        error = GetLastError();
        return false;
    }
    return true;
}

void Mutex::lock() noexcept {
    if (m_handle != nullptr) {
        WaitForSingleObject(m_handle, INFINITE);
    }
}

void Mutex::unlock() noexcept {
    if (m_handle != nullptr) {
        ReleaseMutex(m_handle);
    }
}

} // namespace platform
