#pragma once
#include <wchar.h>
#include_next <wctype.h>
