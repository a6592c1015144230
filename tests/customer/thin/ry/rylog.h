#pragma once

#include "kit/kitlog.h"

// Functions of C have no namespace that could hold another name for them.
#define rylogIsEnabled kitlogIsEnabled
#define rylogLog kitlogLog
#define rylogLogBin kitlogLogBin
#define rylogSetModuleName kitlogSetModuleName
