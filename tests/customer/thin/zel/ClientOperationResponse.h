#pragma once

#include "kit/Answer.h"
#include "zel/Parameter.h"
#include "zel/Vector.h"

namespace Zel {

using ClientOperationResponse = Kit::Answer;

} // namespace Zel
