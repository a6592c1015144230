#pragma once

#include "tests/faults/matrix/Story.h"

// The stories, one family a file.

namespace Faults {

[[nodiscard]] std::vector<Story> readerStories();
[[nodiscard]] std::vector<Story> stateStories();
[[nodiscard]] std::vector<Story> authenticateStories();
[[nodiscard]] std::vector<Story> changeStories();
[[nodiscard]] std::vector<Story> initPinStories();
[[nodiscard]] std::vector<Story> initTokenStories();
[[nodiscard]] std::vector<Story> writeStories();
[[nodiscard]] std::vector<Story> containerStories();
[[nodiscard]] std::vector<Story> removeStories();
[[nodiscard]] std::vector<Story> readStories();
[[nodiscard]] std::vector<Story> generateStories();
[[nodiscard]] std::vector<Story> signStories();

} // namespace Faults
