#pragma once

#include <string>

namespace platform {

/// Who may change a file or folder beside its owner and the system's administrators.
enum class OthersMay { Nothing, Write, Unknown };

/// Rights on the file or folder with this UTF-8 name, links followed. A group that is the owner's alone (it has the
/// owner's name, and nobody else is listed in it) counts as the owner. A folder in which users may only remove what is
/// their own (the sticky bit) counts as not writable. Unknown when it is not there or does not show its rights.
[[nodiscard]] OthersMay othersMayChange(const std::string& path) noexcept;

/// Returns true when the file belongs to somebody who is neither this user nor an administrator. Always false on
/// Windows.
[[nodiscard]] bool belongsToAnother(const std::string& path) noexcept;

/// Makes a folder that on Linux only its owner may use (mode 0700); on Windows the rights of the folder above hold.
/// Returns false when it cannot be made, or something has that name.
[[nodiscard]] bool makePrivateFolder(const std::string& path) noexcept;

} // namespace platform
