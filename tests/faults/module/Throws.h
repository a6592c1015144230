#pragma once

#include "zel/Export.h"

/// What a function of the throwing module throws.
enum class Thrown : int { Nothing, BadAlloc, RuntimeError, Number, OwnClass, OwnBadAlloc };

/// The next call of this function throws; the others answer CKR_OK and as little as will do. Exported by the module as
/// "throwFrom"; `function` is a literal of the caller.
using ThrowFrom = void(const char* function, Thrown what);
