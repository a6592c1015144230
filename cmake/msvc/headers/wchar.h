#pragma once
#include_next <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

_ACRTIMP errno_t __cdecl wcrtomb_s(size_t* length, char* bytes, size_t room, wchar_t character, mbstate_t* state);
_ACRTIMP int __cdecl _iswcntrl_l(wint_t character, _locale_t locale);
_ACRTIMP int __cdecl _iswxdigit_l(wint_t character, _locale_t locale);
_ACRTIMP double __cdecl _wcstold_l(const wchar_t* text, wchar_t** end, _locale_t locale);

/// A long double is a double here.
static inline long double wcstold(const wchar_t* text, wchar_t** end) {
    return wcstod(text, end);
}

#ifdef __cplusplus
}
#endif
