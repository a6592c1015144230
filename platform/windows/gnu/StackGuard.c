/* What the compiler's stack protector needs of a Windows program or library. The compiler's own library would load
   another one while ours is being loaded, which Windows forbids; so the guard is mixed of what differs from one process
   to the next. */
#include <windows.h>

#include <stdint.h>

uintptr_t __stack_chk_guard = 0;

/* Before all other constructors: nothing that is guarded is on the stack yet. */
__attribute__((constructor(101), no_stack_protector)) static void makeGuard(void) {
    FILETIME time;
    LARGE_INTEGER counter;
    GetSystemTimeAsFileTime(&time);
    QueryPerformanceCounter(&counter);
    const uintptr_t ids = ((uintptr_t)GetCurrentProcessId() << 40) ^ ((uintptr_t)GetCurrentThreadId() << 20);
    const uintptr_t times = ((uintptr_t)time.dwLowDateTime << 32) ^ ((uintptr_t)counter.QuadPart << 16);
    /* The lowest byte stays zero: text that overruns its place ends there. */
    __stack_chk_guard = (ids ^ times ^ (uintptr_t)&time) << 8;
}

/* The stack can no longer be trusted, so the system ends the process at once (status 0xC0000409). */
__attribute__((noreturn)) void __stack_chk_fail(void) {
    __asm__ volatile("int $0x29" : : "c"(2));
    __builtin_unreachable();
}
