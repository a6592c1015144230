#pragma once

#include "kit/TaskFailure.h"
#include "zel/LocalizedException.h"

namespace Zel {

using ClientOperationException = Kit::TaskFailure;

} // namespace Zel
