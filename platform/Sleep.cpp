#include "platform/Sleep.h"

#include <thread>

void platform::sleepFor(std::chrono::milliseconds duration) {
    std::this_thread::sleep_for(duration);
}
