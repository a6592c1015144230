#pragma once

#include "kit/Export.h"

#define ZEL_EXPORT KIT_EXPORT
