// The value between a frame's buffers and its return address.

#include "Cookie.h"

#include <intrin.h>
#include <windows.h>

extern "C" {

constexpr ULONG_PTR kDefault = 0x00002B992DDFA232;
ULONG_PTR __security_cookie = kDefault;

void __cdecl __security_check_cookie(ULONG_PTR cookie) {
    constexpr unsigned int kStackOverrun = 2; // FAST_FAIL_STACK_COOKIE_CHECK_FAILURE
    if (cookie != __security_cookie) {
        __fastfail(kStackOverrun);
    }
}

} // extern "C"

void chooseCookie() {
    LARGE_INTEGER counter;
    FILETIME time;
    QueryPerformanceCounter(&counter);
    GetSystemTimeAsFileTime(&time);
    ULONG_PTR value = static_cast<ULONG_PTR>(counter.QuadPart) ^ (ULONG_PTR{time.dwLowDateTime} << 16) ^
                      (ULONG_PTR{GetCurrentProcessId()} << 24) ^ GetCurrentThreadId() ^
                      reinterpret_cast<ULONG_PTR>(&counter);
    // The upper two bytes are zero, so that a text cannot carry the value along.
    value &= 0x0000FFFFFFFFFFFF;
    __security_cookie = value != 0 ? value : kDefault;
}
