#include "tests/faults/stories/Families.h"

namespace Faults {

std::vector<Story> allStories() {
    std::vector<Story> all;
    for (const auto family :
         {readerStories, stateStories, authenticateStories, changeStories, initPinStories, initTokenStories,
          writeStories, containerStories, removeStories, readStories, generateStories, signStories}) {
        const std::vector<Story> stories = family();
        all.insert(all.end(), stories.begin(), stories.end());
    }
    return all;
}

} // namespace Faults
