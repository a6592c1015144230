#pragma once

#include <cstddef>

#include "platform/AppendedFile.h"
#include "ry/rylogFault.h"

namespace Ry::log {

/// Where the log goes: a file to which whole lines are appended (see platform::AppendedFile), or standard error.
class OutputFile {
public:
    /// Closes the open file. `path` is UTF-8; "-" is standard error, null or empty opens nothing. On Linux only its
    /// owner can read the file from then on. Returns false when it cannot be opened, and for a link, a pipe or another
    /// user's file; the object is then closed. "/dev/stderr" and "/dev/null" are allowed.
    [[nodiscard]] bool open(const char* path) noexcept;
    [[nodiscard]] bool isOpen() const noexcept { return m_file.isOpen(); }

    /// The first failure of a write since the file was opened; always None for standard error.
    [[nodiscard]] RylogFault fault() const noexcept { return m_fault; }

    /// One system call when the system takes the whole line. What cannot be written is lost. Nothing is written when a
    /// library has closed the descriptor and its own file has the number.
    void write(const char* line, std::size_t length) noexcept;

private:
    void note(RylogFault fault) noexcept;

    platform::AppendedFile m_file;
    bool m_isOwned = false;
    RylogFault m_fault = RylogFault::None;
};

} // namespace Ry::log
