#pragma once

#include "kit/Failure.h"
#include "zel/TString.h"

namespace Zel {

using LocalizedException = Kit::Failure;

} // namespace Zel
