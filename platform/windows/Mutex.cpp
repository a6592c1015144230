#include "platform/Mutex.h"

#include <windows.h>

namespace platform {

Mutex::~Mutex() {
    if (m_handle != nullptr) {
        CloseHandle(m_handle);
    }
}

bool Mutex::create(std::uint32_t& error) noexcept {
    m_handle = CreateMutexW(nullptr, FALSE, nullptr);
    error = m_handle == nullptr ? GetLastError() : 0;
    return m_handle != nullptr;
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
