#pragma once
#include_next <ctype.h>

#ifdef __cplusplus
extern "C" {
#endif

_ACRTIMP int __cdecl _isalnum_l(int character, _locale_t locale);
_ACRTIMP int __cdecl _isalpha_l(int character, _locale_t locale);
_ACRTIMP int __cdecl _iscntrl_l(int character, _locale_t locale);
_ACRTIMP int __cdecl _isdigit_l(int character, _locale_t locale);
_ACRTIMP int __cdecl _isgraph_l(int character, _locale_t locale);
_ACRTIMP int __cdecl _islower_l(int character, _locale_t locale);
_ACRTIMP int __cdecl _ispunct_l(int character, _locale_t locale);
_ACRTIMP int __cdecl _isupper_l(int character, _locale_t locale);
_ACRTIMP int __cdecl _isxdigit_l(int character, _locale_t locale);
_ACRTIMP const unsigned short* __cdecl __pctype_func(void);

#ifdef __cplusplus
}
#endif
