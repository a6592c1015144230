#include "platform/ProcessEnd.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <windows.h>

#include "platform/Streams.h"

namespace platform {

namespace {

std::atomic<const char*> g_message = nullptr;
int g_status = 0;

void endInFailure() {
    if (const char* const message = g_message; message != nullptr) {
        writeMessage(message, std::strlen(message));
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(g_status));
    }
}

/// A library with a runtime of its own does not run this runtime's exit handlers. The system calls this function at the
/// end.
void NTAPI atThreadOrProcessEnd(void*, DWORD reason, void*) {
    if (reason == DLL_PROCESS_DETACH) {
        endInFailure();
    }
}

} // namespace

extern "C" {
// The linker gathers the callbacks of a program between the sections .CRT$XLA and .CRT$XLZ.
__attribute__((section(".CRT$XLF"), used)) const PIMAGE_TLS_CALLBACK p11hostProcessEnd = atThreadOrProcessEnd;
}

OwnProcessEnd::OwnProcessEnd(const char* message, int status) noexcept {
    g_status = status;
    g_message = message;
    std::atexit(endInFailure);
}

OwnProcessEnd::~OwnProcessEnd() {
    g_message = nullptr;
}

} // namespace platform
