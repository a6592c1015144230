// Thread-local storage: the directory that the system reads, the constructors that run when a thread first touches an
// object, and the destructors that run when it ends. The names are the compiler's and the linker's.

#include <corecrt_startup.h>
#include <stdlib.h>
#include <windows.h>

#pragma section(".tls", long, read, write)
#pragma section(".tls$ZZZ", long, read, write)
#pragma section(".CRT$XDA", long, read)
#pragma section(".CRT$XDZ", long, read)
#pragma section(".CRT$XLA", long, read)
#pragma section(".CRT$XLC", long, read)
#pragma section(".CRT$XLD", long, read)
#pragma section(".CRT$XLZ", long, read)
#pragma section(".rdata$T", long, read)

extern "C" {

ULONG _tls_index = 0;
__declspec(allocate(".tls")) char _tls_start = 0;
__declspec(allocate(".tls$ZZZ")) char _tls_end = 0;
__declspec(allocate(".CRT$XLA")) PIMAGE_TLS_CALLBACK __xl_a = nullptr;
__declspec(allocate(".CRT$XLZ")) PIMAGE_TLS_CALLBACK __xl_z = nullptr;
__declspec(allocate(".rdata$T")) extern const IMAGE_TLS_DIRECTORY64 _tls_used = {
    reinterpret_cast<ULONGLONG>(&_tls_start),
    reinterpret_cast<ULONGLONG>(&_tls_end),
    reinterpret_cast<ULONGLONG>(&_tls_index),
    reinterpret_cast<ULONGLONG>(&__xl_a + 1),
    0,
    0};

__declspec(allocate(".CRT$XDA")) _PVFV __xd_a[] = {nullptr};
__declspec(allocate(".CRT$XDZ")) _PVFV __xd_z[] = {nullptr};
__declspec(thread) bool __tls_guard = false;

} // extern "C"

namespace {

struct ThreadEnd {
    ThreadEnd* next;
    _PVFV run;
};
__declspec(thread) ThreadEnd* t_ends = nullptr;

} // namespace

extern "C" {

void NTAPI __dyn_tls_init(void*, DWORD reason, void*) {
    if (reason != DLL_THREAD_ATTACH || __tls_guard) {
        return;
    }
    __tls_guard = true;
    for (_PVFV* initialiser = __xd_a; initialiser != __xd_z; ++initialiser) {
        if (*initialiser != nullptr) {
            (*initialiser)();
        }
    }
}

/// For threads that were there before the module was loaded.
void __cdecl __dyn_tls_on_demand_init() {
    __dyn_tls_init(nullptr, DLL_THREAD_ATTACH, nullptr);
}

/// Registers a destructor for this thread's end.
int __cdecl __tlregdtor(_PVFV run) {
    auto* const end = static_cast<ThreadEnd*>(malloc(sizeof(ThreadEnd)));
    if (end == nullptr) {
        return -1;
    }
    *end = {t_ends, run};
    t_ends = end;
    return 0;
}

static void NTAPI endThread(void*, DWORD reason, void*) {
    if (reason != DLL_THREAD_DETACH && reason != DLL_PROCESS_DETACH) {
        return;
    }
    while (t_ends != nullptr) {
        ThreadEnd* const end = t_ends;
        t_ends = end->next;
        end->run();
        free(end);
    }
}

__declspec(allocate(".CRT$XLC")) extern const PIMAGE_TLS_CALLBACK __xl_c = __dyn_tls_init;
__declspec(allocate(".CRT$XLD")) extern const PIMAGE_TLS_CALLBACK __xl_d = endThread;

} // extern "C"
