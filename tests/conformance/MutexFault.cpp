#include "tests/conformance/MutexFault.h"

#include "platform/Mutex.h"

#include <atomic>
#include <mutex>

namespace {

std::atomic<std::uint32_t> s_fault{0};

} // namespace

void failNextMutexCreate(std::uint32_t error) noexcept {
    s_fault = error;
}

// In place of the platform's; a thread may lock again what it holds.

namespace platform {

Mutex::~Mutex() {
    delete static_cast<std::recursive_mutex*>(m_handle);
}

bool Mutex::create(std::uint32_t& error) noexcept {
    error = s_fault.exchange(0);
    if (error == 0) {
        m_handle = new std::recursive_mutex;
    }
    return error == 0;
}

void Mutex::lock() noexcept {
    if (m_handle != nullptr) {
        static_cast<std::recursive_mutex*>(m_handle)->lock();
    }
}

void Mutex::unlock() noexcept {
    if (m_handle != nullptr) {
        static_cast<std::recursive_mutex*>(m_handle)->unlock();
    }
}

} // namespace platform
