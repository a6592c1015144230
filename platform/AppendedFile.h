#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/FileIdentity.h"

namespace platform {

/// A file to which whole lines are appended, also when other processes append to it. On Linux only its owner can read
/// it. It stays open until `close`: the destructor does nothing, because lines come until the process ends.
class AppendedFile {
public:
    AppendedFile() noexcept = default;
    AppendedFile(const AppendedFile&) = delete;
    AppendedFile& operator=(const AppendedFile&) = delete;
    ~AppendedFile() = default;

    /// Opens or creates the file with this UTF-8 name, after closing the one that was open. Returns false when it
    /// cannot be opened, and for a link, a pipe or another user's file; see lastError. "/dev/null" is allowed.
    [[nodiscard]] bool open(const char* path) noexcept;
    /// Appends to standard error, which `close` leaves open. Returns false when the process has none.
    [[nodiscard]] bool openStandardError() noexcept;
    void close() noexcept;
    [[nodiscard]] bool isOpen() const noexcept { return m_handle != kClosed; }

    /// Returns false when a library has closed the descriptor and its own file may have the number.
    [[nodiscard]] bool isStill() const noexcept { return m_identity.isStill(m_handle); }
    /// Returns the number of bytes that the file took, in one system call when the system takes the whole line.
    [[nodiscard]] std::size_t append(const char* line, std::size_t length) noexcept;

    /// When the file has at least `limit` bytes, it becomes `older`, which is replaced, and a new file takes its place.
    /// When another process has done so, this object follows to the new file. `path` is the name that was opened.
    /// Returns false when the file cannot be renamed and stays open, or when the new one cannot be opened and the
    /// object is closed.
    [[nodiscard]] bool rotate(const char* path, const char* older, std::uint64_t limit) noexcept;

    /// What the system says about this thread's last failure.
    [[nodiscard]] static std::string lastError();

private:
    static constexpr std::ptrdiff_t kClosed = -1;

    // A descriptor, or a HANDLE, whose value for "none" is -1 too.
    std::ptrdiff_t m_handle = kClosed;
    FileIdentity m_identity;
    [[maybe_unused]] void* m_lock = nullptr; // Windows: a mutex of all processes that append to the file
    bool m_isOwned = false;
};

} // namespace platform
