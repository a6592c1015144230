#pragma once
#include_next <time.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef _TIMESPEC_DEFINED
#define _TIMESPEC_DEFINED
#define TIME_UTC 1
struct timespec {
    time_t tv_sec;
    long tv_nsec;
};
_ACRTIMP int __cdecl _timespec64_get(struct timespec* time, int base);
static inline int timespec_get(struct timespec* time, int base) {
    return _timespec64_get(time, base);
}
#endif

_ACRTIMP size_t __cdecl _strftime_l(char* text, size_t room, const char* format, const struct tm* time,
                                    _locale_t locale);
static inline errno_t localtime_s(struct tm* parts, const time_t* time) {
    return _localtime64_s(parts, time);
}

#ifdef __cplusplus
}
#endif
