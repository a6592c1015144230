#pragma once
#include_next <math.h>

#ifdef __cplusplus

// The standard library declares these itself; macros would replace its names.
#undef fpclassify
#undef isfinite
#undef isinf
#undef isnan
#undef isnormal
#undef signbit

extern "C++" {

template <class Number>
bool isfinite(Number number) noexcept {
    return __builtin_isfinite(static_cast<double>(number));
}
template <class Number>
bool isinf(Number number) noexcept {
    return __builtin_isinf(static_cast<double>(number));
}
template <class Number>
bool isnan(Number number) noexcept {
    return __builtin_isnan(static_cast<double>(number));
}
template <class Number>
bool isnormal(Number number) noexcept {
    return __builtin_isnormal(static_cast<double>(number));
}
template <class One, class Other>
bool isgreater(One one, Other other) noexcept {
    return __builtin_isgreater(one, other);
}
template <class One, class Other>
bool isgreaterequal(One one, Other other) noexcept {
    return __builtin_isgreaterequal(one, other);
}
template <class One, class Other>
bool isless(One one, Other other) noexcept {
    return __builtin_isless(one, other);
}
template <class One, class Other>
bool islessequal(One one, Other other) noexcept {
    return __builtin_islessequal(one, other);
}
template <class One, class Other>
bool islessgreater(One one, Other other) noexcept {
    return __builtin_islessgreater(one, other);
}
template <class One, class Other>
bool isunordered(One one, Other other) noexcept {
    return __builtin_isunordered(one, other);
}

} // extern "C++"

extern "C" {
#endif

/// A long double is a double here.
static inline long double atan2l(long double y, long double x) {
    return atan2((double)y, (double)x);
}

#ifdef __cplusplus
}
#endif
