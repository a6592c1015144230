#pragma once

#include "kit/Task.h"
#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace Zel {

using ClientOperation = Kit::Task;

} // namespace Zel
