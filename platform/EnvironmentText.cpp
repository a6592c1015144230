#include "platform/Process.h"

std::string platform::environmentText(const char* name) {
    const std::optional<WipedBytes> value = environmentVariable(name);
    return value ? std::string(value->begin(), value->end()) : std::string();
}
