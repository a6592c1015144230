#pragma once

#include <cstdint>

namespace platform {

/// An unnamed mutex of the operating system. Creating it can fail; an object that was not created locks nothing.
class Mutex {
public:
    Mutex() noexcept = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex();

    /// Returns false on failure, with the system's error number in `error`. Call it once.
    [[nodiscard]] bool create(std::uint32_t& error) noexcept;
    /// Waits without limit.
    void lock() noexcept;
    void unlock() noexcept;

private:
    void* m_handle = nullptr;
};

} // namespace platform
