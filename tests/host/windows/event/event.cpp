// Sends Ctrl-C or Ctrl-Break to a process through the console that it has: console-event PROCESS c|break. A program of
// its own, because a process has one console, and would lose the one that it writes to.
#include <cstdlib>
#include <cstring>
#include <windows.h>

namespace {

/// This program shares the console for a moment, and the event comes to it, too.
BOOL WINAPI ignore(DWORD) {
    return TRUE;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    FreeConsole();
    const DWORD process = std::strtoul(argv[1], nullptr, 10);
    const DWORD event = std::strcmp(argv[2], "break") == 0 ? CTRL_BREAK_EVENT : CTRL_C_EVENT;
    const bool isSent = AttachConsole(process) != 0 && SetConsoleCtrlHandler(ignore, TRUE) != 0 &&
                        GenerateConsoleCtrlEvent(event, 0) != 0;
    return isSent ? 0 : 1;
}
