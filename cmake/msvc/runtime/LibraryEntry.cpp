// Where the system enters a library.

#include <windows.h>

#include "Beginnings.h"
#include "Cookie.h"
#include "Ends.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

namespace {

bool g_attached = false;

bool attach() {
    chooseCookie();
    keepOwnEnds();
    g_attached = runInitialisers();
    return g_attached;
}

void detach() {
    if (g_attached) {
        g_attached = false;
        runOwnEnds();
    }
}

} // namespace

extern "C" BOOL WINAPI _DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH && !attach()) {
        return FALSE;
    }
    const BOOL accepted = DllMain(module, reason, reserved);
    if (reason == DLL_PROCESS_DETACH || (reason == DLL_PROCESS_ATTACH && !accepted)) {
        detach();
    }
    return accepted;
}
