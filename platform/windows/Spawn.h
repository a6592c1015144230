#pragma once

#include <string>
#include <vector>
#include <windows.h>

namespace platform {

/// A pipe whose other end a new program inherits.
enum class OurEnd { Reads, Writes };

/// Makes a pipe. Returns false on failure, see GetLastError.
[[nodiscard]] bool openPipe(OurEnd end, HANDLE& ours, HANDLE& theirs) noexcept;

/// Starts the first of `arguments` (UTF-8) with these standard streams, which are inheritable or null, and no other
/// handle of this process: what another thread has made for its own program does not get into this one. `flags` are
/// those of CreateProcess. Returns false on failure, see GetLastError.
[[nodiscard]] bool spawn(PROCESS_INFORMATION& process, const std::vector<std::string>& arguments, HANDLE input,
                         HANDLE output, HANDLE errors, DWORD flags);

} // namespace platform
