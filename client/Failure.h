#pragma once

#include "zel/TString.h"

/// Throws a ClientOperationException with this message and the code for a precondition or parameter failure (33004).
[[noreturn]] void throwFailure(const Zel::TString& message);
