#pragma once

#include <windows.h>

namespace platform {

/// Returns true when an ordinary account owns the file that is neither this thread's user nor the owner of what it
/// creates. Administrators and the system read every file anyway, and a file system without owners names nobody or
/// everybody: none of these counts as another user. The handle needs READ_CONTROL.
[[nodiscard]] bool belongsToAnotherUser(HANDLE file) noexcept;

} // namespace platform
