#pragma once

#include <string>

namespace platform {

/// From now on a library that is named without a folder is searched beside the program and in the system's folders:
/// never in the current directory, and on Windows not along PATH. The same holds for the libraries that it needs. A
/// program calls this before it loads anything.
///
/// On Linux the loader does so anyway; our libraries add only their own folder.
void searchLibrariesSafely() noexcept;

/// Windows: also searches `folder` (UTF-8, full path) for the libraries that a library in it needs. A missing folder is
/// ignored. Linux: no effect, because each library names the folders of its own libraries.
void alsoSearchLibrariesIn(const std::string& folder);

} // namespace platform
