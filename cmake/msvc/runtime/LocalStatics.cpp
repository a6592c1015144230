// A function's static objects, made by one thread alone. Names, and what the numbers say, are the compiler's: a guard
// is 0 before, -1 while the object is made, and the module's epoch at that time afterwards. A thread that has seen the
// module's epoch knows that all objects up to it are there.

#include <windows.h>

extern "C" {
int _Init_global_epoch = static_cast<int>(0x80000000);
__declspec(thread) int _Init_thread_epoch = static_cast<int>(0x80000000);
}

namespace {

constexpr int kNotMade = 0;
constexpr int kBeingMade = -1;
SRWLOCK g_lock = SRWLOCK_INIT;
CONDITION_VARIABLE g_done = CONDITION_VARIABLE_INIT;

} // namespace

extern "C" {

/// The caller makes the object when the guard says afterwards that it is being made.
void __cdecl _Init_thread_header(int* guard) {
    AcquireSRWLockExclusive(&g_lock);
    while (*guard == kBeingMade) {
        SleepConditionVariableSRW(&g_done, &g_lock, INFINITE, 0);
    }
    if (*guard == kNotMade) {
        *guard = kBeingMade;
    } else {
        _Init_thread_epoch = _Init_global_epoch;
    }
    ReleaseSRWLockExclusive(&g_lock);
}

/// The object has been made.
void __cdecl _Init_thread_footer(int* guard) {
    AcquireSRWLockExclusive(&g_lock);
    *guard = ++_Init_global_epoch;
    _Init_thread_epoch = _Init_global_epoch;
    ReleaseSRWLockExclusive(&g_lock);
    WakeAllConditionVariable(&g_done);
}

/// Making it threw.
void __cdecl _Init_thread_abort(int* guard) {
    AcquireSRWLockExclusive(&g_lock);
    *guard = kNotMade;
    ReleaseSRWLockExclusive(&g_lock);
    WakeAllConditionVariable(&g_done);
}

} // extern "C"
