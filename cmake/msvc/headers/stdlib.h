#pragma once
#include_next <stdlib.h>

#ifndef MB_CUR_MAX
#define MB_CUR_MAX ___mb_cur_max_func()
#endif
#ifndef _sys_nerr
#define _sys_nerr (*__sys_nerr())
#endif
#ifndef _CALL_REPORTFAULT
#define _WRITE_ABORT_MSG 1
#define _CALL_REPORTFAULT 2
#endif

#ifdef __cplusplus
extern "C" {
#endif

_ACRTIMP double __cdecl _strtod_l(const char* text, char** end, _locale_t locale);
_ACRTIMP float __cdecl _strtof_l(const char* text, char** end, _locale_t locale);
_ACRTIMP errno_t __cdecl _dupenv_s(char** value, size_t* length, const char* name);
_ACRTIMP unsigned int __cdecl _set_abort_behavior(unsigned int flags, unsigned int mask);
_ACRTIMP int* __cdecl __sys_nerr(void);
_ACRTIMP int __cdecl ___mb_cur_max_l_func(_locale_t locale);

#ifdef __cplusplus
}
#endif
