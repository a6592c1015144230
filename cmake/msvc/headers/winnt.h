#pragma once

// The compiler has this one built in, with another declaration.
#define _InterlockedCompareExchange128 _InterlockedCompareExchange128_of_the_header
#include_next <winnt.h>
#undef _InterlockedCompareExchange128

#ifndef SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE
#define SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE 2
#endif
