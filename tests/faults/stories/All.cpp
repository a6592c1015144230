#include "tests/faults/stories/Families.h"

#include <stdexcept>

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

Story storyNamed(const std::string& name) {
    for (const Story& story : allStories()) {
        if (story.name == name) {
            return story;
        }
    }
    throw std::logic_error("there is no story " + name);
}

} // namespace Faults
