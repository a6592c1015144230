#include "platform/LibrarySearch.h"

namespace platform {

void searchLibrariesSafely() noexcept {
    // The loader looks in the current directory only when a path has an empty entry, and ours have none.
}

void alsoSearchLibrariesIn(const std::string&) {
    // The loader takes the folders from the library itself.
}

} // namespace platform
