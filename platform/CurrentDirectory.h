#pragma once

#include <cstddef>

namespace platform {

/// Writes the process's current directory, zero-terminated, into `buffer` of `room` characters. Empty text when it
/// does not fit or is unknown.
void currentDirectory(wchar_t* buffer, std::size_t room) noexcept;

} // namespace platform
