#include "platform/Mutex.h"

#include <errno.h>
#include <pthread.h>

#include <memory>
#include <new>

namespace platform {

namespace {

// Recursive, as a mutex of Windows is.
int initialise(pthread_mutex_t& mutex) noexcept {
    pthread_mutexattr_t attributes;
    int error = pthread_mutexattr_init(&attributes);
    if (error != 0) {
        return error;
    }
    error = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    if (error == 0) {
        error = pthread_mutex_init(&mutex, &attributes);
    }
    pthread_mutexattr_destroy(&attributes);
    return error;
}

} // namespace

Mutex::~Mutex() {
    if (m_handle != nullptr) {
        auto* mutex = static_cast<pthread_mutex_t*>(m_handle);
        pthread_mutex_destroy(mutex);
        delete mutex;
    }
}

bool Mutex::create(std::uint32_t& error) noexcept {
    std::unique_ptr<pthread_mutex_t> mutex(new (std::nothrow) pthread_mutex_t);
    error = static_cast<std::uint32_t>(mutex == nullptr ? ENOMEM : initialise(*mutex));
    if (error != 0) {
        return false;
    }
    m_handle = mutex.release();
    return true;
}

void Mutex::lock() noexcept {
    if (m_handle != nullptr) {
        pthread_mutex_lock(static_cast<pthread_mutex_t*>(m_handle));
    }
}

void Mutex::unlock() noexcept {
    if (m_handle != nullptr) {
        pthread_mutex_unlock(static_cast<pthread_mutex_t*>(m_handle));
    }
}

} // namespace platform
