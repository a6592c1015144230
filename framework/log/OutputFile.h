#pragma once

#include <cstddef>

#include "platform/FileIdentity.h"

namespace Ry::log {

/// A file that whole lines are appended to, also when other processes append to it. It stays open to the end of the
/// process, for messages come from the very last moments too: the destructor does nothing.
class OutputFile {
public:
    OutputFile() noexcept = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile() = default;

    /// Closes what was open. `path` is UTF-8; "-" is standard error, null or empty opens nothing. A file can be
    /// read by its owner alone from then on. Returns false when it cannot be opened, and for a link, a pipe or another
    /// user's file; the object is then closed. "/dev/stderr" and "/dev/null" are what they say.
    [[nodiscard]] bool open(const char* path) noexcept;
    [[nodiscard]] bool isOpen() const noexcept { return m_handle != kClosed; }

    /// Whether something could not be written since the file was opened; never of standard error.
    [[nodiscard]] bool isIncomplete() const noexcept { return m_isIncomplete; }

    /// One system call where the system takes the line as a whole. What cannot be written is lost; so is what would go
    /// into the file of a library that has closed this one.
    void write(const char* line, std::size_t length) noexcept;

private:
    void close() noexcept;

    static constexpr std::ptrdiff_t kClosed = -1;

    // A descriptor, or a HANDLE, whose value for "none" is -1 too.
    std::ptrdiff_t m_handle = kClosed;
    platform::FileIdentity m_identity;
    bool m_isOwned = false;
    bool m_isIncomplete = false;
};

} // namespace Ry::log
