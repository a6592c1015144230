#include "platform/ProcessEnd.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "platform/Streams.h"

namespace platform {

namespace {

std::atomic<const char*> g_message = nullptr;
int g_status = 0;

void endInFailure() {
    if (const char* const message = g_message; message != nullptr) {
        writeMessage(message, std::strlen(message));
        ::_exit(g_status);
    }
}

} // namespace

OwnProcessEnd::OwnProcessEnd(const char* message, int status) noexcept {
    g_status = status;
    g_message = message;
    std::atexit(endInFailure);
    std::at_quick_exit(endInFailure);
}

OwnProcessEnd::~OwnProcessEnd() {
    g_message = nullptr;
}

} // namespace platform
