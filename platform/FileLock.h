#pragma once

#include <cstddef>
#include <string>

namespace platform {

/// A name that one process at a time holds, as a lock on a file of its own. The system gives the lock back when the
/// process ends, however it ends. The file stays behind: whoever removed it could remove one that is locked anew.
///
///     const FileLock lock(desk + ".lock");
///     if (lock.state() == FileLock::State::HeldByAnother) …
class FileLock {
public:
    enum class State { Taken, HeldByAnother, Failed };

    /// Takes the lock of the file with this UTF-8 name, which is made when it is not there, on Linux for its owner
    /// alone. Never waits. A link is not followed. Throws std::bad_alloc.
    explicit FileLock(const std::string& path);
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    /// Gives the lock back.
    ~FileLock();

    [[nodiscard]] State state() const noexcept { return m_state; }

    /// What the system says about this thread's last failure.
    [[nodiscard]] static std::string lastError();

private:
    static constexpr std::ptrdiff_t kNone = -1;

    std::ptrdiff_t m_handle = kNone; ///< a descriptor, or a HANDLE, whose value for "none" is -1 too
    State m_state = State::Failed;
};

} // namespace platform
