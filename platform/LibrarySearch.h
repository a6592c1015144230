#pragma once

#include <string>

namespace platform {

/// From now on a library that is named without a folder is looked for beside the program and in the system's folders:
/// never in the current directory, and on Windows not along PATH. The same holds for the libraries that it needs. A
/// program calls this before it loads anything.
///
/// On Linux this is the system's own way; a library of ours adds only its own folder.
void searchLibrariesSafely() noexcept;

/// Windows: also looks in `folder` (UTF-8, full path), for what a library in it needs. A folder that is not there is
/// ignored. Linux: no effect, for a library there says itself where its own libraries are.
void alsoSearchLibrariesIn(const std::string& folder);

} // namespace platform
