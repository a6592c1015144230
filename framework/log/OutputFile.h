#pragma once

#include <cstddef>
#include <string>

namespace Ry::log {

/// A file that whole lines are appended to, also when other processes append to it. It stays open to the end of the
/// process, for messages come from the very last moments too: the destructor does nothing.
class OutputFile {
public:
    OutputFile() noexcept = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile() = default;

    /// Closes what was open. `path` is UTF-8; "-" is standard error, null or empty opens nothing. A new file can be
    /// read by its owner alone. Returns false when the file cannot be opened; the object is then closed.
    [[nodiscard]] bool open(const char* path) noexcept;
    [[nodiscard]] bool isOpen() const noexcept { return m_handle != kClosed; }

    /// One system call where the system takes the line as a whole. What cannot be written is lost.
    void write(const char* line, std::size_t length) noexcept;

private:
    void close() noexcept;

    static constexpr std::ptrdiff_t kClosed = -1;

    // A descriptor, or a HANDLE, whose value for "none" is -1 too.
    std::ptrdiff_t m_handle = kClosed;
    bool m_isOwned = false;
};

/// UTF-8 text of an environment variable; empty when it is not set. May throw std::bad_alloc.
[[nodiscard]] std::string environmentVariable(const char* name);

} // namespace Ry::log
